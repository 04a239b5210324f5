#include "catalogue/reader.h"

#include <google/protobuf/util/json_util.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace catalogue {

Catalogue Read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  std::ostringstream json;
  json << file.rdbuf();
  google::protobuf::util::JsonParseOptions options;
  options.ignore_unknown_fields = true;
  Catalogue catalogue;
  if (!google::protobuf::util::JsonStringToMessage(json.str(), &catalogue,
                                                   options)
           .ok() ||
      catalogue.format() == 0) {
    throw std::runtime_error(path + " is no catalogue");
  }
  if (catalogue.format() != kFormat) {
    throw std::runtime_error(path + " has format " +
                             std::to_string(catalogue.format()) + ", not " +
                             std::to_string(kFormat));
  }
  return catalogue;
}

}  // namespace catalogue
