// State of the client-file messages that lives across messages: replies come
// with the same type as their requests, so they are told apart by what came
// before.
#pragma once

#include <cstdint>

namespace wp {

struct LobState {
  // Deeper nesting of file writes than this is not tracked.
  static constexpr int kWriteDepth = 64;
  // States of an open file write.
  static constexpr int16_t kOpened = 0, kFlowing = 1, kFinished = 2;

  int16_t prev_file_optype = -1;  // operation of the previous FILE
  int16_t file_request_num = 0;   // seek/tell/status requests awaiting a reply
  int16_t write_top = -1;         // top of the file-write stack; -1 empty
  int16_t file_write_state[kWriteDepth] = {};

  bool writeOpen() const { return write_top >= 0; }
  int16_t& top() { return file_write_state[write_top]; }
  // The end of a transmission finishes the data of a flowing file write.
  void eot() {
    if (writeOpen() && top() == kFlowing) top() = kFinished;
  }
};

}  // namespace wp
