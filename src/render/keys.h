// JSON keys from listing labels: the snake_case of the label's words.
#pragma once

#include <cstddef>

namespace wp {

// "\t\tServer Owner Name: " gives "server_owner_name", "# rows" "n_rows":
// letters and digits are kept (lower case), "#" becomes "n", anything else
// separates words. Writes into buf (size bytes) and returns it.
const char* snakeKey(const char* label, char* buf, size_t size);

// key followed by suffix ("type" and "_flags" give "type_flags") in buf
// (size bytes, cut short as snprintf would); returns buf.
const char* joinKey(const char* key, const char* suffix, char* buf, size_t size);

}  // namespace wp
