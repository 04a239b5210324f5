// The part of the catalogue that Wireshark's scripts use, as a table of Lua.
#ifndef TOOLS_CATALOGUE_LUA_H_
#define TOOLS_CATALOGUE_LUA_H_

#include <string>

#include "catalogue.pb.h"

namespace catalogue {

std::string Lua(const Catalogue& catalogue);

}  // namespace catalogue

#endif  // TOOLS_CATALOGUE_LUA_H_
