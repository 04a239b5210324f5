#include "catalogue/builder.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>

#include "catalogue/reader.h"

namespace catalogue {

namespace pb = google::protobuf;

namespace {

constexpr char kComponent[] = "component";

// What the numbers of an enum can identify.
const std::set<std::string>& Kinds() {
  static const auto* kinds = new std::set<std::string>{
      kComponent, "service", "topic", "report", "topic type"};
  return *kinds;
}

enum class Element { kSchema, kEnum, kValue, kMessage, kField };

// Which tags an element may have. All but @open at most once.
const std::set<std::string>& TagsAt(Element element) {
  static const auto* tags = new std::map<Element, std::set<std::string>>{
      {Element::kSchema, {"open", "subsystem"}},
      {Element::kEnum, {"open", "ids", "component"}},
      {Element::kValue,
       {"open", "carries", "pairs", "answer", "answer_id", "schema"}},
      {Element::kMessage, {"open"}},
      {Element::kField, {"open", "enum", "unit"}},
  };
  return tags->at(element);
}

// Numbers of the fields of descriptor.proto that lead to an element.
constexpr int kSyntax = pb::FileDescriptorProto::kSyntaxFieldNumber;
constexpr int kEnum = pb::FileDescriptorProto::kEnumTypeFieldNumber;
constexpr int kValue = pb::EnumDescriptorProto::kValueFieldNumber;
constexpr int kMessage = pb::FileDescriptorProto::kMessageTypeFieldNumber;
constexpr int kField = pb::DescriptorProto::kFieldFieldNumber;

std::string TypeOf(const pb::FieldDescriptor* field) {
  if (field->message_type() != nullptr) {
    return field->message_type()->full_name();
  }
  if (field->enum_type() != nullptr) return field->enum_type()->full_name();
  return field->type_name();
}

class Builder {
 public:
  Builder(const std::string& version, Faults* faults) : faults_(faults) {
    catalogue_.set_format(kFormat);
    catalogue_.set_version(version);
  }

  Catalogue Run(std::vector<const pb::FileDescriptor*> files) {
    std::sort(files.begin(), files.end(), [](const auto* a, const auto* b) {
      return a->name() < b->name();
    });
    for (const auto* file : files) ReadComments(file);
    for (const auto* file : files) FindIds(file);
    for (const auto* file : files) Add(file);
    LinkMessages();
    for (const auto* file : files) CheckThatMessagesTravel(file);
    return std::move(catalogue_);
  }

 private:
  // Comments first: an element may refer to one that comes later.
  void ReadComments(const pb::FileDescriptor* file) {
    std::set<std::vector<int>> elements;
    const auto read = [&](const void* key, const std::vector<int>& path,
                          Element element) {
      elements.insert(path);
      comments_[key] = ReadComment(file, path, faults_);
      CheckTags(file, comments_[key], element);
    };
    // The comment of the file itself is the one above its syntax statement.
    read(file, {kSyntax}, Element::kSchema);
    for (int i = 0; i < file->enum_type_count(); ++i) {
      const pb::EnumDescriptor* type = file->enum_type(i);
      read(type, {kEnum, i}, Element::kEnum);
      for (int j = 0; j < type->value_count(); ++j) {
        read(type->value(j), {kEnum, i, kValue, j}, Element::kValue);
      }
    }
    for (int i = 0; i < file->message_type_count(); ++i) {
      const pb::Descriptor* type = file->message_type(i);
      read(type, {kMessage, i}, Element::kMessage);
      for (int j = 0; j < type->field_count(); ++j) {
        read(type->field(j), {kMessage, i, kField, j}, Element::kField);
      }
      if (type->nested_type_count() + type->enum_type_count() > 0) {
        faults_->Add(file, comments_[type].line,
                     "types in a message have no place in the catalogue");
      }
    }
    CheckOtherStatements(file, elements);
  }

  void CheckTags(const pb::FileDescriptor* file, const Comment& comment,
                 Element element) {
    std::set<std::string> seen;
    for (const Tag& tag : comment.tags) {
      if (TagsAt(element).count(tag.name) == 0) {
        faults_->Add(file, tag.line, "no tag here is called @" + tag.name);
      } else if (!seen.insert(tag.name).second && tag.name != "open") {
        faults_->Add(file, tag.line, "a second @" + tag.name);
      }
    }
  }

  // Statements without an entry in the catalogue, such as imports.
  void CheckOtherStatements(const pb::FileDescriptor* file,
                            const std::set<std::vector<int>>& elements) {
    pb::FileDescriptorProto proto;
    file->CopySourceCodeInfoTo(&proto);
    for (const auto& location : proto.source_code_info().location()) {
      const std::vector<int> path(location.path().begin(),
                                  location.path().end());
      if (elements.count(path) > 0) continue;
      std::string text =
          location.leading_comments() + location.trailing_comments();
      for (const std::string& detached : location.leading_detached_comments()) {
        text += detached;
      }
      if (text.find('@') != std::string::npos) {
        faults_->Add(file, location.span(0) + 1,
                     "a statement that takes no tags has one");
      }
    }
  }

  void FindIds(const pb::FileDescriptor* file) {
    for (int i = 0; i < file->enum_type_count(); ++i) {
      const pb::EnumDescriptor* type = file->enum_type(i);
      const std::string kind = comments_[type].Value("ids");
      if (kind.empty()) continue;
      if (Kinds().count(kind) == 0) {
        Fault(type, type, "ids", "no kind of ids is called " + kind);
      }
      for (int j = 0; j < type->value_count(); ++j) {
        if (type->value(j)->number() == 0) continue;
        ids_[type->value(j)->full_name()] = {type->value(j), kind};
      }
    }
  }

  void Add(const pb::FileDescriptor* file) {
    const Comment& comment = comments_[file];
    Schema* schema = catalogue_.add_schemas();
    schema->set_name(file->name());
    schema->set_package(file->package());
    for (int i = 0; i < file->dependency_count(); ++i) {
      schema->add_imports(file->dependency(i)->name());
    }
    schema->set_subsystem(comment.Value("subsystem"));
    SetWords(comment, schema);
    for (int i = 0; i < file->enum_type_count(); ++i) Add(file->enum_type(i));
    for (int i = 0; i < file->message_type_count(); ++i) {
      Add(file->message_type(i));
    }
  }

  void Add(const pb::EnumDescriptor* type) {
    const Comment& comment = comments_[type];
    Enum* entry = catalogue_.add_enums();
    entry->set_name(type->full_name());
    entry->set_schema(type->file()->name());
    entry->set_ids(comment.Value("ids"));
    entry->set_component(comment.Value("component"));
    SetWords(comment, entry);
    if (!entry->component().empty()) {
      const auto component = ids_.find(entry->component());
      if (component == ids_.end() || component->second.kind != kComponent) {
        Fault(type, type, "component",
              "no component is called " + entry->component());
      } else if (entry->ids().empty() || entry->ids() == kComponent) {
        Fault(type, type, "component", "@component without ids of it");
      }
    }
    for (int i = 0; i < type->value_count(); ++i) {
      const pb::EnumValueDescriptor* value = type->value(i);
      Value* known = entry->add_values();
      known->set_name(value->full_name());
      known->set_number(value->number());
      SetWords(comments_[value], known);
      known->set_schema(comments_[value].Value("schema"));
      if (!known->schema().empty() &&
          type->file()->pool()->FindFileByName(known->schema()) == nullptr) {
        Fault(value, value, "schema",
              "no schema of the build is called " + known->schema() +
                  ": is it in the list of CMakeLists.txt?");
      }
      if (ids_.count(value->full_name()) > 0) {
        Add(*entry, value);
      } else {
        RefuseIdTags(value, "the tags of an id at a value that is none");
      }
    }
  }

  void Add(const Enum& of, const pb::EnumValueDescriptor* value) {
    const Comment& comment = comments_[value];
    Id* id = catalogue_.add_ids();
    id->set_name(value->full_name());
    id->set_number(value->number());
    id->set_enum_(of.name());
    id->set_kind(of.ids());
    id->set_component(of.component());
    SetWords(comment, id);
    if (of.ids() == kComponent) {
      id->set_schema(comment.Value("schema"));
      RefuseIdTags(value, "a component carries nothing itself");
      return;
    }
    id->set_carries(MessageIn(value, "carries"));
    id->set_pairs(MessageIn(value, "pairs"));
    id->set_settled(!id->carries().empty());
    if (!id->pairs().empty() &&
        (!id->carries().empty() || id->kind() != "service")) {
      Fault(value, value, "pairs", "@pairs is for services without @carries");
    }
    const std::string answer = MessageIn(value, "answer");
    const std::string answer_id = comment.Value("answer_id");
    if (!answer.empty()) {
      id->mutable_answer()->set_message(answer);
      if (id->carries().empty()) {
        Fault(value, value, "answer", "@answer without @carries");
      }
    }
    if (!answer_id.empty()) {
      id->mutable_answer()->set_id(answer_id);
      CheckAnswerId(value, answer, answer_id);
    }
  }

  void RefuseIdTags(const pb::EnumValueDescriptor* value,
                    const std::string& why) {
    for (const Tag& tag : comments_[value].tags) {
      if (tag.name != "open" && tag.name != "schema") {
        Fault(value, value, tag.name, why);
      }
    }
  }

  // The id of an answer carries what the request says is the answer, and
  // neither says more than the other.
  void CheckAnswerId(const pb::EnumValueDescriptor* value,
                     const std::string& answer, const std::string& answer_id) {
    const auto target = ids_.find(answer_id);
    if (target == ids_.end() || target->second.kind == kComponent ||
        target->second.value == value) {
      Fault(value, value, "answer_id", "no answer comes on " + answer_id);
      return;
    }
    answers_[answer_id].push_back(value->full_name());
    const std::string carried =
        comments_[target->second.value].Value("carries");
    if (carried != answer) {
      Fault(value, value, "answer_id",
            answer_id + " carries " + (carried.empty() ? "nothing" : carried) +
                " and not the message of @answer");
    }
  }

  void Add(const pb::Descriptor* type) {
    const Comment& comment = comments_[type];
    Message* message = catalogue_.add_messages();
    message->set_name(type->full_name());
    message->set_schema(type->file()->name());
    SetWords(comment, message);
    for (int i = 0; i < type->field_count(); ++i) {
      Add(type->field(i), message->add_fields());
    }
  }

  void Add(const pb::FieldDescriptor* field, Field* entry) {
    const Comment& comment = comments_[field];
    using Type = pb::FieldDescriptor;
    const Type::CppType type = field->cpp_type();
    entry->set_name(field->name());
    entry->set_json_name(field->json_name());
    entry->set_number(field->number());
    entry->set_type(TypeOf(field));
    entry->set_repeated(field->is_repeated());
    SetWords(comment, entry);
    if (field->enum_type() != nullptr) {
      entry->set_enum_(field->enum_type()->full_name());
    }
    const std::string by_convention = comment.Value("enum");
    if (!by_convention.empty()) {
      entry->set_enum_(by_convention);
      if (type != Type::CPPTYPE_INT32 && type != Type::CPPTYPE_UINT32) {
        Fault(field, field, "enum", "@enum is for int32 and uint32 fields");
      } else if (field->file()->pool()->FindEnumTypeByName(by_convention) ==
                 nullptr) {
        Fault(field, field, "enum", "no enum is called " + by_convention);
      }
    }
    static const std::regex kUnit("[^\\s\\d]\\S*");
    entry->set_unit(comment.Value("unit"));
    if (!entry->unit().empty()) {
      if (type == Type::CPPTYPE_BOOL || type == Type::CPPTYPE_ENUM ||
          type == Type::CPPTYPE_STRING || type == Type::CPPTYPE_MESSAGE ||
          !entry->enum_().empty()) {
        Fault(field, field, "unit", "@unit is for fields of numbers");
      } else if (!std::regex_match(entry->unit(), kUnit)) {
        Fault(field, field, "unit", entry->unit() + " is not a unit symbol");
      }
    }
  }

  // Notes at messages and at ids who refers to them.
  void LinkMessages() {
    std::map<std::string, Message*> messages;
    for (Message& message : *catalogue_.mutable_messages()) {
      messages[message.name()] = &message;
    }
    const auto note = [&](const std::string& message, auto add,
                          const std::string& id) {
      const auto found = messages.find(message);
      if (found != messages.end()) (found->second->*add)(id);
    };
    using Adder = void (Message::*)(const std::string&);
    const Adder carried_by = &Message::add_carried_by;
    const Adder answer_of = &Message::add_answer_of;
    const Adder paired_with = &Message::add_paired_with;
    for (Id& id : *catalogue_.mutable_ids()) {
      note(id.carries(), carried_by, id.name());
      note(id.answer().message(), answer_of, id.name());
      note(id.pairs(), paired_with, id.name());
      for (const std::string& request : answers_[id.name()]) {
        id.add_answers(request);
      }
    }
  }

  // A message travels under an id or in another message, or says that this is
  // open.
  void CheckThatMessagesTravel(const pb::FileDescriptor* file) {
    std::set<std::string> travelling;
    for (const Message& message : catalogue_.messages()) {
      if (message.carried_by_size() + message.answer_of_size() +
              message.paired_with_size() >
          0) {
        travelling.insert(message.name());
      }
      for (const Field& field : message.fields()) {
        travelling.insert(field.type());
      }
    }
    for (int i = 0; i < file->message_type_count(); ++i) {
      const pb::Descriptor* type = file->message_type(i);
      if (travelling.count(type->full_name()) == 0 &&
          comments_[type].Value("open").empty()) {
        faults_->Add(
            file, comments_[type].line,
            "no id carries " + type->full_name() + ", and no @open says so");
      }
    }
  }

  // The message that a tag names. Empty when there is no such tag.
  std::string MessageIn(const pb::EnumValueDescriptor* value,
                        const std::string& tag) {
    const std::string name = comments_[value].Value(tag);
    if (!name.empty() &&
        value->file()->pool()->FindMessageTypeByName(name) == nullptr) {
      Fault(value, value, tag, "no message is called " + name);
    }
    return name;
  }

  template <typename Entry>
  static void SetWords(const Comment& comment, Entry* entry) {
    entry->set_comment(comment.words);
    for (const std::string& open : comment.Values("open")) {
      entry->add_open(open);
    }
  }

  static const pb::FileDescriptor* FileOf(const pb::EnumValueDescriptor* v) {
    return v->type()->file();
  }
  template <typename Descriptor>
  static const pb::FileDescriptor* FileOf(const Descriptor* descriptor) {
    return descriptor->file();
  }

  // A fault in a tag of an element.
  template <typename Descriptor>
  void Fault(const Descriptor* descriptor, const void* key,
             const std::string& tag, const std::string& what) {
    const Comment& comment = comments_[key];
    int line = comment.line;
    for (const Tag& each : comment.tags) {
      if (each.name == tag) line = each.line;
    }
    faults_->Add(FileOf(descriptor), line, what);
  }

  struct IdValue {
    const pb::EnumValueDescriptor* value;
    std::string kind;
  };

  Faults* const faults_;
  Catalogue catalogue_;
  std::map<const void*, Comment> comments_;  // By descriptor.
  std::map<std::string, IdValue> ids_;
  std::map<std::string, std::vector<std::string>> answers_;  // By answer's id.
};

}  // namespace

Catalogue Build(const std::vector<const pb::FileDescriptor*>& files,
                const std::string& version, Faults* faults) {
  return Builder(version, faults).Run(files);
}

}  // namespace catalogue
