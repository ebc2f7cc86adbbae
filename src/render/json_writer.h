// A small JSON writer into a string: objects and arrays with their commas,
// numbers, and strings escaped so that any bytes give valid JSON (bytes that
// are not UTF-8 are written as \u00XX, reading them as Latin-1).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "render/value.h"

namespace wp {

class JsonWriter {
 public:
  // Starts over with an empty text (the capacity stays).
  void clear() {
    buf_.clear();
    open_.clear();
  }
  const std::string& text() const { return buf_; }
  bool empty() const { return open_.empty(); }
  size_t depth() const { return open_.size(); }
  bool inArray() const { return !open_.empty() && (open_.back() & kArray); }
  // Text the caller knows to be valid JSON in place (a constant prefix),
  // and the state it leaves: an object or array opened with members in it.
  void raw(const char* s, size_t n) { buf_.append(s, n); }
  void assumeOpen(bool array) { open_.push_back(array ? kArray : 0); }

  // A key in an object (ignored inside an array), with the comma before it.
  void key(const char* k);
  void beginObject(const char* k = nullptr);
  void beginArray(const char* k = nullptr);
  void end();  // closes the innermost object or array

  void value(const Value& v);
  void field(const char* k, const Value& v) {
    key(k);
    value(v);
  }
  void string(const char* s, size_t n);
  void number(int64_t v);
  void number(double v);
  void hex(const uint8_t* p, size_t n);

 private:
  void open(const char* k, char c, bool array);

  static constexpr uint8_t kFirst = 1;  // nothing written in it yet
  static constexpr uint8_t kArray = 2;  // an array, not an object
  std::string buf_;
  std::vector<uint8_t> open_;  // per open container, innermost last
};

// Appends s (n bytes) to out as a quoted JSON string.
void jsonString(std::string& out, const char* s, size_t n);

}  // namespace wp
