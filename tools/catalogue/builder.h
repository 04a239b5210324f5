// Makes the catalogue from the schemas.
#ifndef TOOLS_CATALOGUE_BUILDER_H_
#define TOOLS_CATALOGUE_BUILDER_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

#include "catalogue.pb.h"
#include "catalogue/comment.h"

namespace catalogue {

// The files must hold source information. With faults the result is not whole.
Catalogue Build(
    const std::vector<const google::protobuf::FileDescriptor*>& files,
    const std::string& version, Faults* faults);

}  // namespace catalogue

#endif  // TOOLS_CATALOGUE_BUILDER_H_
