// Where each message's fields go as JSON text besides the JSON lines: the
// SQLite store keeps them in its message rows.
#pragma once

#include <string_view>

namespace wp {

class FieldsSink {
 public:
  virtual ~FieldsSink() = default;
  // The fields of the message that ends now, as a JSON object; the text is
  // valid during the call only. Messages end innermost first.
  virtual void messageFields(std::string_view json) = 0;
};

}  // namespace wp
