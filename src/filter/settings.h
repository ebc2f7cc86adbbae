// Which packets a run lists and counts: a time window and client threads.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wp {

struct FilterSettings {
  bool hasFrom = false, hasTo = false;
  double from = 0, to = 0;  // seconds since the epoch, both included
  // "-thread": addresses as the listing prints them (the text after "0x"),
  // and thread indexes.
  std::vector<std::string> addresses;
  std::vector<int32_t> indexes;

  bool active() const { return hasFrom || hasTo || !addresses.empty() || !indexes.empty(); }
  bool byThread() const { return !addresses.empty() || !indexes.empty(); }
};

// "-from"/"-to": seconds since the epoch ("1700000000", "1700000000.25") or
// an ISO 8601 date and time ("2023-11-14T22:13:20", "2023-11-14 22:13:20.5",
// "2023-11-14", with "Z" or "+01:00" for a zone, else local time). False when
// the text is neither.
bool parseTimeArg(const char* text, double* seconds);

// "-thread": "0x" and the address as listed, or a thread index. False when
// the text is neither.
bool parseThreadArg(const char* text, FilterSettings& f);

}  // namespace wp
