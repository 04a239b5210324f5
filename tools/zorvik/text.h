// Bytes that are written down as text, in all the ways that programs do it.
#ifndef TOOLS_ZORVIK_TEXT_H_
#define TOOLS_ZORVIK_TEXT_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Bytes, or else the reason why the text has none, with the place.
struct Bytes {
  std::string bytes;
  std::string fault;
  explicit operator bool() const { return fault.empty(); }
};

// Pairs of hex digits without anything between them.
std::string HexOf(std::string_view bytes);
// With padding, in one line.
std::string Base64Of(std::string_view bytes);

// Hex digits in any groups, between blanks, commas, colons and the like, with
// or without 0x or \x before them, as a C array, or a string literal with
// escapes.
Bytes FromHex(std::string_view text);

// With the alphabet of URLs or without, with padding or without, in lines or
// not.
Bytes FromBase64(std::string_view text);

// The listings of xxd, hexdump, od, tshark and gdb: offsets and what is there.
// Each that begins anew is another message. Nothing when the text is no
// listing.
std::optional<std::vector<std::string>> FromListing(std::string_view text);

// Whether it is a listing whose words are octal, or have their bytes in the
// order of the machine: of od without -x or -tx1, of xxd -e, of gdb's x/xw.
bool IsInWords(std::string_view text);

// A list of decimal numbers in brackets, signed or not, as JSON, Python, Java
// and Go print it, or Node's JSON of a Buffer. Nothing when it may be hex.
std::optional<std::string> FromDecimals(std::string_view text);

// The bytes at the end of a line of a log, in hex, behind a colon or another
// mark. Nothing when it is not certain where they begin.
std::optional<std::string> FromLog(std::string_view text);

// Without what makes a terminal show colours.
std::string WithoutColours(std::string_view text);

// Whether it consists of what people can read: UTF-8 without control
// characters.
bool IsText(std::string_view text);

// What input that has no message looks like, such as "JSON"; empty when that is
// not known.
std::string LooksLike(std::string_view input);

// Printable ASCII as it is and all else as \n, \x1b and so on, so that nothing
// reaches a terminal that it would obey.
std::string Escaped(std::string_view text);

// The same, but UTF-8 stays readable: for file names and what somebody has
// typed.
std::string Readable(std::string_view text);

#endif  // TOOLS_ZORVIK_TEXT_H_
