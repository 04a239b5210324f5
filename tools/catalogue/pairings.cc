#include "catalogue/pairings.h"

#include <map>
#include <sstream>

namespace catalogue {

namespace {

constexpr char kHead[] =
    R"(// What the vocabulary settles about its ids and messages, for the compiler. It
// needs none of the generated messages: include the headers of those you use.
//
// Generated from the schemas.
#ifndef ZORVIK_PAIRINGS_H_
#define ZORVIK_PAIRINGS_H_

#if __cplusplus < 201703L
#error "zorvik/pairings.h needs C++17, for example -std=c++17"
#else

#include <cstddef>
#include <string_view>

)";

constexpr char kPrimaries[] = R"(
namespace zorvik::topics {

// What the runtime puts before the name of a message in an Any.
inline constexpr std::string_view kTypeUrlPrefix = "type.googleapis.com/";

// A list of ids, which may be of several enums.
template <auto... ids>
struct IdList {};

// Facts about an id. What is open, or does not exist, is void or nullptr.
template <typename ContentType, typename AnswerType, auto answer_id>
struct IdFacts {
  // The message that travels under the id; for a service, its request.
  using Content = ContentType;
  // The message that answers it, and the id on which the answer comes.
  using Answer = AnswerType;
  static constexpr auto kAnswerId = answer_id;
};
template <auto id>
struct Id : IdFacts<void, void, nullptr> {};

// The component that the ids of an enum belong to, or nullptr.
template <typename Enum>
struct EnumOfIds {
  static constexpr std::nullptr_t kComponent = nullptr;
};

// Facts about a message. The primary template is for messages of one's own.
template <typename Message>
struct MessageFacts {
  // By which an Any names the message; empty where only the program knows it.
  static constexpr std::string_view kTypeUrl = {};
  // Whether it has a field, not repeated, that is a message, itself or in one of
  // its messages.
  static constexpr bool kHasRecords = false;
  // Ids under which it travels, and those whose request it answers.
  using CarriedBy = IdList<>;
  using AnswerOf = IdList<>;
};

)";

constexpr char kTail[] = R"(
}  // namespace zorvik::topics

#endif  // __cplusplus
#endif  // ZORVIK_PAIRINGS_H_
)";

// Of "zorvik.gimbal.UavResetReqMessage".
std::string LastName(const std::string& full_name) {
  return full_name.substr(full_name.rfind('.') + 1);
}

// "::zorvik::gimbal", of the same.
std::string Namespace(const std::string& full_name) {
  std::string name = "::" + full_name.substr(0, full_name.rfind('.'));
  for (size_t dot; (dot = name.find('.')) != std::string::npos;) {
    name.replace(dot, 1, "::");
  }
  return name;
}

std::string Type(const std::string& full_name) {
  return Namespace(full_name) + "::" + LastName(full_name);
}

std::string TypeOrVoid(const std::string& message) {
  return message.empty() ? "void" : Type(message);
}

class Writer {
 public:
  explicit Writer(const Catalogue& catalogue) : catalogue_(catalogue) {
    for (const Id& id : catalogue.ids()) ids_[id.name()] = &id;
    for (const Message& message : catalogue.messages()) {
      messages_[message.name()] = &message;
    }
  }

  std::string Run() {
    out_ << kHead;
    Declare();
    out_ << kPrimaries;
    for (const Enum& type : catalogue_.enums()) {
      if (!type.ids().empty()) Write(type);
    }
    for (const Id& id : catalogue_.ids()) Write(id);
    out_ << '\n';
    for (const Message& message : catalogue_.messages()) Write(message);
    out_ << kTail;
    return out_.str();
  }

 private:
  void Declare() {
    std::map<std::string, std::string> declarations;  // By namespace.
    for (const Enum& type : catalogue_.enums()) {
      if (type.ids().empty()) continue;
      declarations[Namespace(type.name())] +=
          "enum " + LastName(type.name()) + " : int;\n";
    }
    for (const Message& message : catalogue_.messages()) {
      declarations[Namespace(message.name())] +=
          "class " + LastName(message.name()) + ";\n";
    }
    for (const auto& [space, lines] : declarations) {
      out_ << "namespace " << space.substr(2) << " {\n" << lines << "}\n";
    }
  }

  // The id as a value of its enum, or nullptr for none.
  std::string IdValue(const std::string& id) const {
    if (id.empty()) return "nullptr";
    const Id& known = *ids_.at(id);
    return Type(known.enum_()) + "{" + std::to_string(known.number()) + "}";
  }

  template <typename Names>
  std::string List(const Names& names) const {
    std::string list;
    for (const std::string& name : names) {
      list += (list.empty() ? "" : ", ") + IdValue(name);
    }
    return "IdList<" + list + ">";
  }

  void Write(const Enum& type) {
    out_ << "// The name of an id, empty for a number that is none.\n"
            "constexpr std::string_view NameOf("
         << Type(type.name()) << " id) {\n  switch (static_cast<int>(id)) {\n";
    for (const catalogue::Value& value : type.values()) {
      if (ids_.count(value.name()) == 0) continue;
      out_ << "    case " << value.number() << ": return \""
           << LastName(value.name()) << "\";\n";
    }
    out_ << "    default: return {};\n  }\n}\n";
    if (type.component().empty()) return;
    out_ << "template <>\nstruct EnumOfIds<" << Type(type.name())
         << "> {\n  static constexpr auto kComponent = "
         << IdValue(type.component()) << ";\n};\n";
  }

  void Write(const Id& id) {
    if (!id.settled() && !id.has_answer()) return;
    out_ << "template <>\nstruct Id<" << IdValue(id.name()) << ">  // "
         << LastName(id.name()) << "\n    : IdFacts<"
         << TypeOrVoid(id.carries()) << ", "
         << TypeOrVoid(id.answer().message()) << ", "
         << IdValue(id.answer().id()) << "> {};\n";
  }

  bool HasRecords(const Message& message) const {
    for (const Field& field : message.fields()) {
      // Names of messages and enums have dots, and only enums are noted as
      // such.
      if (field.type().find('.') == std::string::npos ||
          !field.enum_().empty()) {
        continue;
      }
      const auto type = messages_.find(field.type());
      if (!field.repeated() ||
          (type != messages_.end() && HasRecords(*type->second))) {
        return true;
      }
    }
    return false;
  }

  void Write(const Message& message) {
    out_ << "template <>\nstruct MessageFacts<" << Type(message.name())
         << "> {\n  static constexpr std::string_view kTypeUrl =\n"
            "      \"type.googleapis.com/"
         << message.name() << "\";\n  static constexpr bool kHasRecords = "
         << (HasRecords(message) ? "true" : "false")
         << ";\n  using CarriedBy = " << List(message.carried_by())
         << ";\n  using AnswerOf = " << List(message.answer_of()) << ";\n};\n";
  }

  const Catalogue& catalogue_;
  std::map<std::string, const Id*> ids_;
  std::map<std::string, const Message*> messages_;
  std::ostringstream out_;
};

}  // namespace

std::string Pairings(const Catalogue& catalogue) {
  return Writer(catalogue).Run();
}

}  // namespace catalogue
