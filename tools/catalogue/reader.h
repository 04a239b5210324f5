// Reads the catalogue that the generator has written.
#ifndef TOOLS_CATALOGUE_READER_H_
#define TOOLS_CATALOGUE_READER_H_

#include <string>

#include "catalogue.pb.h"

namespace catalogue {

// The format that this program writes and reads.
constexpr int kFormat = 1;

// Members that this program does not know are passed over. Throws
// std::runtime_error when there is no catalogue at that path, or one of another
// format.
Catalogue Read(const std::string& path);

}  // namespace catalogue

#endif  // TOOLS_CATALOGUE_READER_H_
