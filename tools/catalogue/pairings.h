// The part of the catalogue that C++ programs use, as a header.
#ifndef TOOLS_CATALOGUE_PAIRINGS_H_
#define TOOLS_CATALOGUE_PAIRINGS_H_

#include <string>

#include "catalogue.pb.h"

namespace catalogue {

std::string Pairings(const Catalogue& catalogue);

}  // namespace catalogue

#endif  // TOOLS_CATALOGUE_PAIRINGS_H_
