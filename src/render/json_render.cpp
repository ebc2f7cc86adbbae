// The JSON Lines renderer: builds each top-level object in a string of its
// own and writes it, with its newline, to the Output when it is complete.
#include "render/json_render.h"

#include "driver/msgtable.h"
#include "driver/output.h"
#include "driver/reader.h"

namespace wp {

JsonRender::Frame& JsonRender::push() {
  if (depth_ == frames_.size()) frames_.emplace_back();
  Frame& f = frames_[depth_++];
  f.w.clear();
  f.message = false;
  return f;
}

// Closes every container of the innermost object and writes it as a line.
void JsonRender::pop() {
  if (depth_ == 0) return;
  JsonWriter& w = frames_[--depth_].w;
  while (!w.empty()) w.end();
  out_.write(w.text());
  out_.put('\n');
}

void JsonRender::field(const char* key, const Value& v) {
  if (depth_ == 0) {
    // A field outside any record or message stands as an object of its own.
    JsonWriter& w = push().w;
    w.beginObject();
    w.field("kind", "field");
    w.field("key", key);
    w.field("value", v);
    pop();
    return;
  }
  frames_[depth_ - 1].w.field(key, v);
}

void JsonRender::open(const char* key, bool list) {
  if (depth_ == 0) return;
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
  if (f.w.depth() > (f.message ? 2u : 1u)) f.w.end();
}

void JsonRender::diagnostic(const char* text, size_t n, int32_t offset) {
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
  line_.end();
  out_.write(line_.text());
  out_.put('\n');
}

void JsonRender::beginMessage(int type, const char* name, int32_t offset) {
  Frame& f = push();
  f.message = true;
  f.packet = rd_.g_ipkt;
  f.offset = offset;
  JsonWriter& w = f.w;
  w.beginObject();
  w.field("kind", "message");
  w.field("packet", f.packet);
  const char dir[] = {rd_.msgdir[0], '-', '>', rd_.msgdir[1]};
  w.key("dir");
  w.string(dir, sizeof dir);
  w.field("offset", offset);
  w.field("type", type);
  w.field("name", name);
  w.beginObject("fields");
}

void JsonRender::endMessage() {
  pop();
}

void JsonRender::beginRecord(const char* kind) {
  JsonWriter& w = push().w;
  w.beginObject();
  w.field("kind", kind);
}

void JsonRender::endRecord() {
  pop();
}

void JsonRender::finish() {
  while (depth_ > 0) pop();
}

}  // namespace wp
