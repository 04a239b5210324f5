#include "input.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "capture.h"
#include "text.h"

namespace {

// A varint at the beginning, and how long it is itself. Nothing when it is cut;
// a size of 0 when it is too long.
struct Length {
  uint64_t value = 0;
  size_t size = 0;
};
std::optional<Length> ReadLength(std::string_view bytes) {
  Length length;
  for (const char c : bytes) {
    if (length.size == 10) return Length{};
    length.value |= static_cast<uint64_t>(c & 0x7f) << (7 * length.size++);
    if ((c & 0x80) == 0) return length;
  }
  return bytes.size() < 10 ? std::nullopt : std::optional<Length>(Length{});
}

class Reader {
 public:
  Reader(Source* source, const InputOptions& options,
         const std::function<void(const Piece&)>& use)
      : source_(source), options_(options), use_(use) {}

  // Returns the remark.
  std::string Run() {
    if (source_->Peek(1).empty()) remark_ = "is empty";
    Read();
    return remark_;
  }

 private:
  void Read() {
    if (options_.form != Form::kBinary &&
        options_.framing != Framing::kDelimited) {
      source_->DropByteOrderMark();
    }
    const std::string_view begin = source_->Peek(4);
    if (options_.form == Form::kCapture ||
        (options_.form == Form::kDetect &&
         options_.framing == Framing::kDetect && IsCapture(begin))) {
      return Capture();
    }
    if (options_.framing == Framing::kLines) return Lines();
    if (options_.form == Form::kDetect && FirstLineIsGood()) return Lines();
    if (options_.framing == Framing::kDelimited &&
        (options_.form == Form::kBinary ||
         (options_.form == Form::kDetect && !IsText(source_->Ready())))) {
      return Delimited(source_);
    }
    const std::string_view all = source_->Peek(kMostText + 1);
    if (all.size() > kMostText)
      return Fault(
          "", "is too long for one message; --lines and --delimited take many");
    return Whole(all);
  }

  void Fault(const std::string& place, const std::string& fault) {
    use_({place, "", 0, fault, ""});
  }

  Match MatchOf(const std::string& bytes) const {
    return bytes.empty() ? Match::kPoor : options_.match(bytes);
  }

  void Capture() {
    size_t found = 0;
    const Packets packets = ReadCapture(source_, [&](const Datagram& datagram) {
      if (options_.port != 0 ? options_.port != datagram.source_port &&
                                   options_.port != datagram.destination_port
                             : MatchOf(datagram.payload) == Match::kNone) {
        return;
      }
      ++found;
      use_({"packet " + std::to_string(datagram.number) + ", " +
                datagram.source + " to " + datagram.destination +
                (datagram.whole ? "" : ", not whole"),
            datagram.payload, 0, "", datagram.time});
    });
    const std::string unread = packets.Unread();
    if (!unread.empty()) {
      remark_ = "packets not looked into: " + unread +
                "; Wireshark puts them together";
    }
    if (found == 0) {
      throw std::runtime_error(
          (packets.all == 1 ? "the packet is no datagram"
                            : "none of the " + std::to_string(packets.all) +
                                  " packets is a datagram") +
          " with such a message" + (unread.empty() ? "" : "; " + remark_));
    }
  }

  // What a text means by itself, in the form that was asked for, or in any.
  Bytes BytesOf(std::string_view text) const {
    if (options_.form == Form::kHex) return FromHex(text);
    if (options_.form == Form::kBase64) return FromBase64(text);
    if (const auto bytes = FromDecimals(text)) return {*bytes, ""};
    Bytes hex = FromHex(text);
    if (hex && text.front() == '"' && IsText(hex.bytes)) {
      // A string of JSON, with hex or base64 in it.
      Bytes inner = BytesOf(hex.bytes);
      if (inner && MatchOf(inner.bytes) == Match::kGood) return inner;
    }
    if (hex) return hex;
    // Words have the alphabet of base64 as well.
    const Bytes base64 = FromBase64(text);
    const bool is_word =
        text.size() < 16 ||
        text.find_first_of(" \t") != std::string_view::npos ||
        text.find_first_of("=+/0123456789") == std::string_view::npos;
    if (base64 && (!is_word || MatchOf(base64.bytes) == Match::kGood)) {
      return base64;
    }
    const auto logged = FromLog(text);
    return logged ? Bytes{*logged, ""} : hex;
  }

  // Whether the first line of a text is a message by itself, so that each line
  // is one.
  bool FirstLineIsGood() {
    if (options_.framing != Framing::kDetect) return false;
    size_t end = 0, searched = 0;
    while ((end = source_->Ready().find('\n', searched)) ==
           std::string_view::npos) {
      if (searched > kMostText ||
          !IsText(WithoutColours(source_->Ready().substr(searched, 256)))) {
        return false;
      }
      searched = source_->Ready().size();
      if (!source_->Wait()) return false;
    }
    const std::string line = WithoutColours(source_->Ready().substr(0, end));
    if (!IsText(line) || line.empty() || line.back() == ',') return false;
    const Bytes bytes = BytesOf(line);
    return bytes && MatchOf(bytes.bytes) == Match::kGood;
  }

  void Lines() {
    for (size_t number = 1;; ++number) {
      size_t end = 0, searched = 0;
      bool more = true;
      while ((end = source_->Ready().find('\n', searched)) ==
                 std::string_view::npos &&
             more) {
        searched = source_->Ready().size();
        more = searched <= kMostText && source_->Wait();
      }
      const std::string place = "line " + std::to_string(number);
      if (end == std::string_view::npos) {
        if (source_->Ready().empty()) return;
        end = source_->Ready().size();
        if (end > kMostText) {
          DropLine();
          Fault(place,
                "is longer than " + std::to_string(kMostBytes) + " bytes");
          continue;
        }
      }
      Line(place, WithoutColours(source_->Ready().substr(0, end)));
      source_->Drop(std::min(end + 1, source_->Ready().size()));
    }
  }

  void DropLine() {
    size_t end = 0;
    while ((end = source_->Ready().find('\n')) == std::string_view::npos) {
      source_->Drop(source_->Ready().size());
      if (!source_->Wait()) return;
    }
    source_->Drop(end + 1);
  }

  void Line(const std::string& place, std::string_view line) {
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) return;
    const Bytes bytes = BytesOf(line);
    if (!bytes) return Fault(place, bytes.fault);
    One(place, bytes.bytes);
  }

  void One(const std::string& place, const std::string& bytes) {
    if (bytes.size() > kMostBytes)
      return Fault(place,
                   "is longer than " + std::to_string(kMostBytes) + " bytes");
    use_({place, bytes, 0, "", ""});
  }

  void Whole(std::string_view all) {
    if (options_.form != Form::kBinary && !IsText(all)) {
      const std::string plain = WithoutColours(all);
      if (plain.size() < all.size() && IsText(plain) &&
          (BytesOf(plain) || FromListing(plain))) {
        return Whole(plain);
      }
    }
    if (options_.form == Form::kBinary || all.empty() ||
        (options_.form == Form::kDetect && !IsText(all))) {
      return Binary(std::string(all));
    }
    if (options_.form == Form::kDetect &&
        options_.framing != Framing::kDelimited) {
      if (IsInWords(all)) {
        return Fault("",
                     "looks like a listing of words, or of octal or decimal "
                     "numbers; xxd, od -An -tx1 and gdb's x/xb print bytes in "
                     "hex");
      }
      if (const auto listed = FromListing(all)) {
        size_t number = 0;
        for (const std::string& bytes : *listed) {
          One("message " + std::to_string(++number), bytes);
        }
        return;
      }
    }
    const Bytes bytes = BytesOf(all);
    if (options_.framing == Framing::kDelimited && bytes) {
      Source decoded(ReadMemory(bytes.bytes));
      return Delimited(&decoded);
    }
    if (options_.form != Form::kDetect) {
      return bytes ? One("message 1", bytes.bytes) : Fault("", bytes.fault);
    }
    const Match match = bytes ? MatchOf(bytes.bytes) : Match::kNone;
    if (match != Match::kGood && AnyLineIsGood(all)) return Lines();
    if (bytes && !bytes.bytes.empty()) return One("message 1", bytes.bytes);
    // Text may be a message by itself.
    if (MatchOf(std::string(all)) == Match::kGood) {
      return Binary(std::string(all));
    }
    Fault("", "looks like " + LooksLike(all));
  }

  bool AnyLineIsGood(std::string_view all) const {
    size_t lines = 0;
    bool good = false;
    while (!all.empty()) {
      const size_t end = std::min(all.find('\n'), all.size());
      const std::string_view line = all.substr(0, end);
      all.remove_prefix(std::min(end + 1, all.size()));
      if (line.empty()) continue;
      ++lines;
      const Bytes bytes = BytesOf(line);
      good = good || (bytes && MatchOf(bytes.bytes) == Match::kGood);
      if (good && lines > 1) return true;
    }
    return false;
  }

  void Binary(const std::string& bytes) {
    if (options_.form == Form::kDetect &&
        options_.framing == Framing::kDetect && !bytes.empty() &&
        MatchOf(bytes) != Match::kGood) {
      if (IsDelimited(bytes)) {
        Source again(ReadMemory(bytes));
        return Delimited(&again);
      }
      const std::string alike = LooksLike(bytes);
      if (!alike.empty()) return Fault("", "looks like " + alike);
    }
    One("message 1", bytes);
  }

  // Whether the first length is followed by a good message of that length, and
  // by nothing or by another length.
  bool IsDelimited(const std::string& bytes) const {
    const std::optional<Length> length = ReadLength(bytes);
    if (!length || length->size == 0 || length->value == 0 ||
        length->value > bytes.size() - length->size) {
      return false;
    }
    return MatchOf(bytes.substr(length->size, length->value)) == Match::kGood;
  }

  void Delimited(Source* source) {
    for (size_t number = 1; !source->Peek(1).empty(); ++number) {
      const std::string place = "message " + std::to_string(number);
      const std::string at =
          "offset " + std::to_string(source->offset()) + ": ";
      const std::optional<Length> length = ReadLength(source->Peek(10));
      if (!length || length->size == 0) {
        return Fault(place, at + "no valid length");
      }
      source->Drop(length->size);
      if (length->value > kMostBytes) {
        return Fault(place, at + "a length of " +
                                std::to_string(length->value) +
                                " bytes is too long");
      }
      const std::string bytes(source->Peek(length->value));
      if (bytes.size() < length->value) {
        return Fault(place, at + "a length of " +
                                std::to_string(length->value) + " bytes, and " +
                                std::to_string(bytes.size()) + " are left");
      }
      use_({place, bytes, source->offset(), "", ""});
      source->Drop(bytes.size());
    }
  }

  Source* const source_;
  const InputOptions& options_;
  const std::function<void(const Piece&)>& use_;
  std::string remark_;
};

}  // namespace

std::string ReadInput(Source* source, const InputOptions& options,
                      const std::function<void(const Piece&)>& use) {
  return Reader(source, options, use).Run();
}
