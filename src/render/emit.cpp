// The JSON side of the emission interface, and the diagnostics of both
// renderings (the listing's inline paths are in emit.h).
#include "render/emit.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "render/json_render.h"

namespace wp {

void Emit::jsonField(const char* key, const Value& v) {
  json_->field(key, v);
}

void Emit::jsonOpen(const char* key, Group g) {
  json_->open(key, g == kList);
}

void Emit::jsonClose() {
  json_->close();
}

void Emit::jsonBeginMessage(int type, const char* name, int32_t offset) {
  if (listing_) out_.printf("\t%s\n", name);
  json_->beginMessage(type, name, offset);
}

void Emit::jsonEndMessage() {
  json_->endMessage();
}

void Emit::jsonBeginRecord(const char* kind) {
  json_->beginRecord(kind);
}

void Emit::jsonEndRecord() {
  json_->endRecord();
}

// JSON keeps the text after "ERROR: " without the blank line before it or
// the newline after it.
void Emit::error(const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  if (listing_) {
    out_.vprintf(fmt, ap);
    va_end(ap);
    return;
  }
  char small[256];
  va_list again;
  va_copy(again, ap);
  int n = vsnprintf(small, sizeof small, fmt, ap);
  va_end(ap);
  std::string big;
  const char* text = small;
  if (n >= static_cast<int>(sizeof small)) {
    big.resize(static_cast<size_t>(n) + 1);
    vsnprintf(big.data(), big.size(), fmt, again);
    text = big.data();
  }
  va_end(again);
  if (n < 0) return;
  size_t len = static_cast<size_t>(n);
  while (len > 0 && (*text == '\n')) ++text, --len;
  if (len >= 7 && memcmp(text, "ERROR: ", 7) == 0) text += 7, len -= 7;
  while (len > 0 && text[len - 1] == '\n') --len;
  json_->diagnostic(text, len, pos_);
}

void Emit::finish() {
  while (open_ > 0) endMessage();
  if (json_) json_->finish();
}

void Emit::tallyBegin(int type) {
  outer_.push_back(fields_);
  openTypes_.push_back(type);
  fields_ = 0;
}

// A record's fields (a packet that a message runs on into) are not the
// message's.
void Emit::tallyBeginRecord() {
  outer_.push_back(fields_);
  fields_ = 0;
}

void Emit::tallyEndRecord() {
  fields_ = outer_.empty() ? 0 : outer_.back();
  if (!outer_.empty()) outer_.pop_back();
}

void Emit::tallyEnd() {
  // A message that ends outside the -from/-to window or the -thread filter
  // is written by neither rendering.
  if (!out_.muted()) {
    tally_->push_back(fields_);
    if (tallyTypes_) tallyTypes_->push_back(openTypes_.empty() ? 0 : openTypes_.back());
  }
  if (!openTypes_.empty()) openTypes_.pop_back();
  fields_ = outer_.empty() ? 0 : outer_.back();
  if (!outer_.empty()) outer_.pop_back();
}

}  // namespace wp
