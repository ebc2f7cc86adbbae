// The JSON Lines renderer: builds each top-level object in a string of its
// own and writes it, with its newline, to the Output when it is complete.
#include "render/json_render.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "driver/msgtable.h"
#include "driver/output.h"
#include "driver/reader.h"

namespace wp {

JsonRender::Frame& JsonRender::push() {
  if (depth_ == frames_.size()) frames_.emplace_back();
  Frame& f = frames_[depth_++];
  f.w.clear();
  f.message = false;
  f.drop = false;
  return f;
}

// Closes every container of the innermost object and writes it as a line;
// a message's fields object also goes to the sink.
void JsonRender::pop() {
  if (depth_ == 0) return;
  Frame& f = frames_[--depth_];
  JsonWriter& w = f.w;
  w.endLine();
  std::string_view t = w.text();
  if (f.message && sink_) {
    // The fields object runs to the message object's closing brace, or to
    // the end of the line when it is all there is.
    size_t end = t.size() - (lines_ ? 2 : 1);
    sink_->messageFields(t.substr(f.fieldsAt, end - f.fieldsAt));
  }
  if (lines_) out_.write(t);
}

// A field outside any record or message stands as an object of its own.
void JsonRender::loneField(const char* key, const Value& v) {
  if (!lines_) return;
  JsonWriter& w = push().w;
  w.beginObject();
  w.field("kind", "field");
  w.field("key", key);
  w.field("value", v);
  pop();
}

void JsonRender::open(const char* key, bool list) {
  if (depth_ == 0 || frames_[depth_ - 1].drop) return;
  JsonWriter& w = frames_[depth_ - 1].w;
  if (list)
    w.beginArray(key);
  else
    w.beginObject(key);
}

// A close never ends the message's or the record's own object.
void JsonRender::close() {
  if (depth_ == 0) return;
  Frame& f = frames_[depth_ - 1];
  if (f.w.depth() > (f.message && lines_ ? 2u : 1u)) f.w.end();
}

void JsonRender::diagnostic(const char* text, size_t n, int32_t offset) {
  if (!lines_) return;
  int32_t packet = rd_.g_ipkt;
  for (size_t i = depth_; i > 0; --i) {
    if (frames_[i - 1].message) {
      packet = frames_[i - 1].packet;
      offset = frames_[i - 1].offset;
      break;
    }
  }
  line_.clear();
  line_.beginObject();
  line_.field("kind", "diagnostic");
  line_.field("packet", packet);
  if (offset >= 0) line_.field("offset", offset);  // none for a record's own error
  line_.key("text");
  line_.string(text, n);
  line_.endLine();
  out_.write(line_.text());
}

// Every message begins with the same members. What depends on the packet
// (its number and direction) is formatted once per packet, what depends on
// the type (number and name) once per type; the offset is the message's own.
void JsonRender::beginMessage(int type, const char* name, int32_t offset) {
  Frame& f = push();
  f.message = true;
  f.packet = rd_.g_ipkt;
  f.offset = offset;
  JsonWriter& w = f.w;
  if (!lines_) {  // only the fields are wanted
    w.beginObject();
    f.fieldsAt = 0;
    return;
  }
  if (!headSet_ || f.packet != headPacket_ || memcmp(rd_.msgdir, headDir_, 2) != 0) {
    headSet_ = true;
    headPacket_ = f.packet;
    memcpy(headDir_, rd_.msgdir, 2);
    static const char kHead[] = "{\"kind\":\"message\",\"packet\":";
    head_.clear();
    head_.raw(kHead, sizeof kHead - 1);
    head_.number(static_cast<int64_t>(f.packet));
    head_.raw(",\"dir\":", 7);
    const char dir[] = {rd_.msgdir[0], '-', '>', rd_.msgdir[1]};
    head_.string(dir, sizeof dir);  // an unknown direction code may be any bytes
    head_.raw(",\"offset\":", 10);
  }
  Tail& tail = tails_[static_cast<uint8_t>(type)];
  if (!tail.set || tail.type != type || tail.name != name) {
    tail.set = true;
    tail.type = type;
    tail.name = name;
    tail.json.clear();
    tail.json.raw(",\"type\":", 8);
    tail.json.number(static_cast<int64_t>(type));
    tail.json.raw(",\"name\":", 8);
    if (name)
      tail.json.string(name);
    else
      tail.json.raw("null", 4);
    tail.json.raw(",\"fields\":{", 11);
  }
  std::string_view head = head_.text(), rest = tail.json.text();
  w.raw(head.data(), head.size());
  w.number(static_cast<int64_t>(offset));
  w.raw(rest.data(), rest.size());
  w.assumeOpen(false);
  w.assumeOpen(false, true);
  f.fieldsAt = w.text().size() - 1;
}

void JsonRender::endMessage() {
  pop();
}

// A record still takes its own fields when no line is written, so that they
// do not land in the message it interrupts.
void JsonRender::beginRecord(const char* kind) {
  Frame& f = push();
  f.drop = !lines_;
  if (f.drop) return;
  JsonWriter& w = f.w;
  w.beginObject();
  w.field("kind", kind);
}

void JsonRender::endRecord() {
  pop();
}

const char* JsonRender::isoTime(double seconds) {
  iso_[0] = '\0';
  // Without lines only messages are kept, and no message holds a time.
  if (!lines_ || !(seconds >= 0 && seconds < 9.2e15)) return iso_;
  double whole = std::floor(seconds);
  auto micros = static_cast<int64_t>(std::llround((seconds - whole) * 1e6));
  auto t = static_cast<int64_t>(whole);
  if (micros >= 1000000) ++t, micros -= 1000000;
  if (t != isoSecond_) {  // the date part changes once a second at most
    auto tt = static_cast<time_t>(t);
    struct tm tmv;
    if (!gmtime_r(&tt, &tmv)) return iso_;
    isoDateLen_ = strftime(isoDate_, sizeof isoDate_, "%Y-%m-%dT%H:%M:%S", &tmv);
    isoSecond_ = t;
  }
  // Then ".uuuuuuZ": the microseconds in six digits.
  char* o = iso_;
  memcpy(o, isoDate_, isoDateLen_);
  o += isoDateLen_;
  *o++ = '.';
  for (int i = 6; i > 0; --i, micros /= 10) o[i - 1] = static_cast<char>('0' + micros % 10);
  o[6] = 'Z';
  o[7] = '\0';
  return iso_;
}

void JsonRender::finish() {
  while (depth_ > 0) pop();
}

}  // namespace wp
