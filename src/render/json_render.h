// The JSON Lines rendering (-json): one object per line, written to the
// listing's Output as soon as it is complete. Records of the trace file and
// diagnostics are complete where they are emitted; a message is complete at
// its end, so a message that runs on into further packets follows their
// packet records, and a diagnostic raised inside a message precedes it.
//
// For -db each message's "fields" object also goes to a FieldsSink; with
// -db alone no line is written at all (the listing is the output).
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "render/fieldsink.h"
#include "render/json_writer.h"

namespace wp {

class Output;
struct Reader;

class JsonRender {
 public:
  JsonRender(Output& out, const Reader& rd) : out_(out), rd_(rd) {}

  // Hands each message's fields to `sink` as well (null: to nobody).
  void setFieldsSink(FieldsSink* sink) { sink_ = sink; }
  // Whether the JSON lines are written (on unless turned off).
  void setLines(bool on) { lines_ = on; }

  void field(const char* key, const Value& v) {
    if (depth_ == 0) return loneField(key, v);
    Frame& f = frames_[depth_ - 1];
    if (!f.drop) f.w.field(key, v);
  }
  void open(const char* key, bool list);
  void close();
  void diagnostic(const char* text, size_t n, int32_t offset);
  void beginMessage(int type, const char* name, int32_t offset);
  void endMessage();
  void beginRecord(const char* kind);
  void endRecord();
  // Writes out whatever is still open (a run that ended inside a message).
  void finish();
  // A time stamp as UTC in ISO 8601 with microseconds; empty when it is out
  // of range. Valid until the next call.
  const char* isoTime(double seconds);

 private:
  struct Frame {
    JsonWriter w;
    bool message = false;
    bool drop = false;    // a record no one reads: its fields are not written
    size_t fieldsAt = 0;  // a message's: where its fields object begins
    int32_t packet = 0, offset = 0;
  };
  void loneField(const char* key, const Value& v);
  Frame& push();
  void pop();

  Output& out_;
  const Reader& rd_;
  FieldsSink* sink_ = nullptr;
  bool lines_ = true;
  // The beginnings of message objects, up to the offset (of the last
  // packet), and from the type on up to the fields (per type: the name is
  // the message table's).
  JsonWriter head_;
  bool headSet_ = false;
  int32_t headPacket_ = 0;
  char headDir_[2] = {};
  struct Tail {
    bool set = false;
    int type = 0;
    const char* name = nullptr;
    JsonWriter json;
  };
  std::array<Tail, 256> tails_;  // by the type's low byte
  std::vector<Frame> frames_;    // objects being built, innermost last
  size_t depth_ = 0;             // frames_[0..depth_) are in use
  JsonWriter line_;              // a diagnostic, written at once
  int64_t isoSecond_ = -1;       // the whole second isoDate_ shows
  char isoDate_[32] = "";
  size_t isoDateLen_ = 0;
  char iso_[64] = "";
};

}  // namespace wp
