#include "catalogue/lua.h"

#include <map>
#include <sstream>

namespace catalogue {

namespace {

// Names of the schemas, which need no escapes.
std::string Quoted(const std::string& name) { return '"' + name + '"'; }

void Write(const Id& id, std::ostream& out) {
  if (!id.carries().empty()) out << ", carries = " << Quoted(id.carries());
  if (!id.answer().message().empty()) {
    out << ", answer = " << Quoted(id.answer().message());
  }
}

}  // namespace

std::string Lua(const Catalogue& catalogue) {
  std::map<std::string, const Id*> ids;
  for (const Id& id : catalogue.ids()) ids[id.name()] = &id;

  std::ostringstream out;
  out << "-- Generated from the schemas.\n"
         "return {\n"
         "  -- Enums by full name: what their numbers identify and the number\n"
         "  -- of the component, and each value by its number.\n"
         "  enums = {\n";
  for (const Enum& type : catalogue.enums()) {
    out << "    [" << Quoted(type.name()) << "] = {\n";
    if (!type.ids().empty())
      out << "      ids = " << Quoted(type.ids()) << ",\n";
    const auto component = ids.find(type.component());
    if (component != ids.end()) {
      out << "      component = " << component->second->number() << ",\n";
    }
    for (const Value& value : type.values()) {
      const size_t dot = value.name().rfind('.');
      out << "      [" << value.number()
          << "] = {name = " << Quoted(value.name().substr(dot + 1));
      const auto id = ids.find(value.name());
      if (id != ids.end()) Write(*id->second, out);
      out << "},\n";
    }
    out << "    },\n";
  }
  out << "  },\n"
         "  -- Messages by full name, each field by its number.\n"
         "  messages = {\n";
  for (const Message& message : catalogue.messages()) {
    out << "    [" << Quoted(message.name()) << "] = {\n";
    for (const Field& field : message.fields()) {
      out << "      [" << field.number()
          << "] = {name = " << Quoted(field.name())
          << ", type = " << Quoted(field.type());
      if (!field.enum_().empty()) out << ", enum = " << Quoted(field.enum_());
      out << "},\n";
    }
    out << "    },\n";
  }
  out << "  },\n}\n";
  return out.str();
}

}  // namespace catalogue
