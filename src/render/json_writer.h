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
    first_.clear();
    array_.clear();
  }
  const std::string& text() const { return buf_; }
  bool empty() const { return first_.empty(); }
  size_t depth() const { return first_.size(); }
  bool inArray() const { return !array_.empty() && array_.back(); }

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

  std::string buf_;
  std::vector<bool> first_;  // per open container: nothing written in it yet
  std::vector<bool> array_;  // per open container: it is an array
};

// Appends s (n bytes) to out as a quoted JSON string.
void jsonString(std::string& out, const char* s, size_t n);

}  // namespace wp
