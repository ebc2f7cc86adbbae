#include "messages/rawtext.h"

#include <algorithm>

#include "driver/cursor.h"
#include "driver/run.h"

namespace wp {

std::string bytesHere(const Cursor& cur, int32_t n) {
  // Only the packet's own bytes: what lies beyond packetlen in the buffer is
  // left over from earlier packets.
  const auto& buf = cur.run.rd.packet;
  size_t end = std::min(buf.size(), static_cast<size_t>(std::max(cur.run.rd.packetlen, 0)));
  if (n <= 0 || cur.pos < 0 || static_cast<size_t>(cur.pos) >= end) return {};
  size_t k = std::min(static_cast<size_t>(n), end - static_cast<size_t>(cur.pos));
  return std::string(reinterpret_cast<const char*>(cur.ptr()), k);
}

int32_t gatherText(Cursor& cur, int32_t n, std::string& dst) {
  return cur.gather(n, dst);
}

void skipPadAfter(Cursor& cur, int32_t lastPart) {
  cur.padAfter(lastPart);
}

}  // namespace wp
