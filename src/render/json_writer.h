// A small JSON writer into a buffer of its own: objects and arrays with their
// commas, numbers, and strings escaped so that any bytes give valid JSON
// (bytes that are not UTF-8 are written as \u00XX, reading them as Latin-1).
//
// It runs once per field of every message, so it writes straight into its
// buffer: each write makes room once and stores its bytes, with no string
// temporaries on the way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "render/value.h"

namespace wp {

class JsonWriter {
 public:
  // Starts over with an empty text (the capacity stays).
  void clear() {
    len_ = 0;
    open_.clear();
  }
  std::string_view text() const { return {buf_.get(), len_}; }
  bool empty() const { return open_.empty(); }
  size_t depth() const { return open_.size(); }
  bool inArray() const { return !open_.empty() && (open_.back() & kArray); }
  // Text the caller knows to be valid JSON in place (a constant prefix),
  // and the state it leaves: an object or array opened with members in it.
  void raw(const char* s, size_t n) {
    memcpy(room(n), s, n);
    len_ += n;
  }
  void assumeOpen(bool array, bool empty = false) {
    open_.push_back(static_cast<uint8_t>((array ? kArray : 0) | (empty ? kFirst : 0)));
  }

  // A key in an object (ignored inside an array), with the comma before it.
  void key(const char* k);
  void beginObject(const char* k = nullptr);
  void beginArray(const char* k = nullptr);
  void end();  // closes the innermost object or array
  // Closes all that is open and ends the line: the text is one JSON line.
  void endLine();

  void value(const Value& v);
  void field(const char* k, const Value& v);
  void string(const char* s, size_t n);
  void string(const char* s);  // NUL-terminated
  void number(int64_t v);
  void number(double v);
  void hex(const uint8_t* p, size_t n);

 private:
  // Room for n more bytes at the end of the text; the writer then stores
  // them there and moves len_ past them.
  char* room(size_t n) {
    if (cap_ - len_ < n) grow(n);
    return buf_.get() + len_;
  }
  static constexpr size_t kMaxKey = 68;            // longer keys are cut
  static constexpr size_t kKeyRoom = kMaxKey + 4;  // with comma, quotes and colon
  void grow(size_t n);
  // A member's key (comma, quoted key, colon; only the comma in an array)
  // at o, which has kKeyRoom bytes of room; returns where it ends.
  char* keyAt(char* o, const char* k);
  bool comma();  // a member follows: true when one came before it
  // The bytes between the quotes of a JSON string.
  void escaped(const uint8_t* p, size_t n);

  static constexpr uint8_t kFirst = 1;  // nothing written in it yet
  static constexpr uint8_t kArray = 2;  // an array, not an object
  std::unique_ptr<char[]> buf_;
  size_t len_ = 0;
  size_t cap_ = 0;
  std::vector<uint8_t> open_;  // per open container, innermost last
};

}  // namespace wp
