// A typed field value as the JSON rendering writes it. The listing never
// looks at it: it prints the field's own printf arguments.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace wp {

struct Value {
  enum Kind : uint8_t { kNull, kInt, kReal, kText, kHex, kNames };
  Kind kind = kNull;
  int64_t i = 0;
  double d = 0;
  const void* p = nullptr;  // kText: the bytes; kHex: the bytes; kNames: const char* const*
  size_t n = 0;             // their count
  static constexpr size_t kUntilNul = SIZE_MAX;

  Value() = default;
  template <std::integral T>
  Value(T v) : kind(kInt), i(static_cast<int64_t>(v)) {}  // NOLINT: numbers convert freely
  Value(double v) : kind(kReal), d(v) {}                  // NOLINT
  // A NUL-terminated text; nullptr is JSON null.
  // A NUL-terminated text (its length is only taken when JSON writes it);
  // nullptr is JSON null.
  Value(const char* s) : kind(s ? kText : kNull), p(s), n(kUntilNul) {}   // NOLINT
  Value(std::string_view s) : kind(kText), p(s.data()), n(s.size()) {}    // NOLINT
  Value(const std::string& s) : kind(kText), p(s.data()), n(s.size()) {}  // NOLINT

  // Binary data, written as a string of lowercase hex digits.
  static Value hex(const void* bytes, size_t count) {
    Value v;
    v.kind = kHex, v.p = bytes, v.n = count;
    return v;
  }
  // Names of flags or bits, written as an array of strings.
  static Value names(const char* const* list, size_t count) {
    Value v;
    v.kind = kNames, v.p = list, v.n = count;
    return v;
  }

  // JSON scalars the value becomes: one, or one per name.
  size_t leaves() const { return kind == kNames ? n : 1; }
};

}  // namespace wp
