#include "decoder.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/text_format.h>

#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "fields.h"
#include "text.h"
#include "wire.h"

namespace pb = google::protobuf;

namespace {

std::string TextOf(const Fault& fault, const Piece& piece) {
  return "offset " + std::to_string(piece.offset + fault.offset) + ": " +
         fault.reason;
}

bool HasAny(const pb::Descriptor* type) {
  for (int i = 0; i < type->field_count(); ++i) {
    const pb::Descriptor* inner = type->field(i)->message_type();
    if (inner != nullptr &&
        inner->full_name() == pb::Any::descriptor()->full_name()) {
      return true;
    }
  }
  return false;
}

}  // namespace

constexpr char kSeveral[] =
    "fields of the envelope come more than once: a receiver takes this for one "
    "envelope, and several have to be framed";

struct Decoder::Decoded {
  std::unique_ptr<pb::Message> message;
  bool several = false;
  std::vector<Fault> faults;
};

Decoder::Decoder(DecoderOptions options, Vocabulary* vocabulary,
                 std::ostream* out,
                 std::function<void(const std::string&)> complain)
    : options_(std::move(options)),
      vocabulary_(vocabulary),
      out_(out),
      complain_(std::move(complain)),
      json_(vocabulary),
      is_envelope_(HasAny(options_.type)) {}

Match Decoder::MatchOf(const std::string& bytes) const {
  const std::string& package = options_.type->file()->package();
  const bool has_content =
      bytes.find('/' + package.substr(0, package.find('.') + 1)) !=
      std::string::npos;
  if (is_envelope_ && !has_content) return Match::kNone;
  if (FindFault(bytes, options_.type, *vocabulary_)) return Match::kPoor;
  const auto message = vocabulary_->New(options_.type);
  return message->ParseFromString(bytes) &&
                 message->GetReflection()->GetUnknownFields(*message).empty()
             ? Match::kGood
             : Match::kPoor;
}

void Decoder::Show(const Piece& piece) {
  Decoded decoded;
  decoded.message = vocabulary_->New(options_.type);
  if (piece.fault.empty()) {
    const bool good = !FindFault(piece.bytes, options_.type, *vocabulary_);
    Salvage salvage;
    if (!good) salvage = SalvageFrom(piece.bytes, options_.type, *vocabulary_);
    decoded.faults = salvage.faults;
    decoded.several = is_envelope_ &&
                      Repeats(good ? piece.bytes : salvage.good, options_.type);
    if (!decoded.message->ParseFromString(good ? piece.bytes : salvage.good)) {
      decoded.message->Clear();
      if (good) decoded.faults.push_back({0, "cannot be parsed"});
    }
  }
  switch (options_.output) {
    case Output::kTree:
      PrintTree(piece, decoded);
      break;
    case Output::kOneLine:
      PrintOneLine(piece, decoded);
      break;
    case Output::kJson:
      PrintJson(piece, decoded);
      break;
    case Output::kFields:
      if (piece.fault.empty()) PrintFields(decoded);
      break;
  }
  const std::string place = piece.place + (piece.place.empty() ? "" : ": ");
  if (!piece.fault.empty()) complain_(place + piece.fault);
  for (const Fault& fault : decoded.faults) {
    complain_(place + TextOf(fault, piece));
  }
}

void Decoder::PrintTree(const Piece& piece, const Decoded& decoded) {
  if (!piece.fault.empty()) return;
  *out_ << (options_.print.colours ? "\x1b[1m" : "") << piece.place << ": "
        << options_.type->full_name() << ", " << piece.bytes.size()
        << (piece.bytes.size() == 1 ? " byte" : " bytes")
        << (piece.time.empty() ? "" : ", " + piece.time)
        << (decoded.faults.empty() ? "" : ", malformed")
        << (options_.print.colours ? "\x1b[0m" : "") << '\n';
  Printer printer(vocabulary_, out_, options_.print);
  printer.Print(*decoded.message, 1);
  if (decoded.several) printer.Warn(1, kSeveral);
}

void Decoder::PrintOneLine(const Piece& piece, const Decoded& decoded) {
  if (!piece.fault.empty()) return;
  pb::TextFormat::Printer printer;
  printer.SetSingleLineMode(true);
  printer.SetExpandAny(true);
  const AnyFinder finder;
  printer.SetFinder(&finder);
  printer.SetTruncateStringFieldLongerThan(
      static_cast<int64_t>(options_.print.most_bytes));
  std::string text;
  printer.PrintToString(*decoded.message, &text);
  if (!text.empty() && text.back() == ' ') text.pop_back();
  const Content content = ContentOf(*decoded.message, *vocabulary_);
  *out_ << piece.place << ": " << (piece.time.empty() ? "" : piece.time + ' ')
        << (content.id.empty() ? "" : content.id + ' ')
        << (decoded.faults.empty() ? "" : "malformed ")
        << (content.mismatch.empty() ? "" : "wrong content ")
        << (decoded.several ? "several envelopes " : "")
        << Escaped(text)  // A type URL comes as it is.
        << '\n';
}

void Decoder::PrintJson(const Piece& piece, const Decoded& decoded) {
  std::string members = "\"place\":" + Quoted(piece.place);
  std::vector<std::string> faults;
  if (!piece.time.empty()) members += ",\"time\":" + Quoted(piece.time);
  if (!piece.fault.empty()) {
    faults.push_back("{\"reason\":" + Quoted(piece.fault) + '}');
  } else {
    members += ",\"type\":" + Quoted(options_.type->full_name());
    members += ",\"size\":" + std::to_string(piece.bytes.size());
    const Content content = ContentOf(*decoded.message, *vocabulary_);
    if (!content.id.empty()) members += ",\"topic\":" + Quoted(content.id);
    std::string json;
    bool same = false;  // As what the JSON form means.
    try {
      json = json_.Of(*decoded.message);
      same = json_.Encode(json, options_.type) == piece.bytes;
    } catch (const std::runtime_error& error) {
      faults.push_back("{\"reason\":" + Quoted(error.what()) + '}');
    }
    if (!json.empty()) members += ",\"message\":" + json;
    if (!content.mismatch.empty()) {
      members += ",\"wrong_content\":" + Quoted(content.mismatch);
    }
    if (decoded.several) {
      members += ",\"several\":" + Quoted(kSeveral);
    }
    if (!same) members += ",\"raw\":\"" + HexOf(piece.bytes) + '"';
  }
  for (const Fault& fault : decoded.faults) {
    faults.push_back(
        "{\"offset\":" + std::to_string(piece.offset + fault.offset) +
        ",\"reason\":" + Quoted(fault.reason) + '}');
  }
  for (size_t i = 0; i < faults.size(); ++i) {
    members += (i == 0 ? ",\"faults\":[" : ",") + faults[i];
  }
  *out_ << '{' << members << (faults.empty() ? "}\n" : "]}\n");
}

void Decoder::PrintFields(const Decoded& decoded) {
  for (size_t i = 0; i < options_.fields.size(); ++i) {
    *out_ << (i == 0 ? "" : "\t")
          << ValueAt(*decoded.message, options_.fields[i], vocabulary_);
  }
  *out_ << '\n';
}
