// The one interface through which decoders and the driver emit what they
// decode. Each field is emitted once, with both of its renderings: the
// listing's printf format and arguments, and a JSON key and typed value.
//
// The listing renderer is the inline path of each call: with no JSON
// renderer attached, a field is a printf into the listing buffer and nothing
// else (no string is built, no virtual call is made). With one attached
// (-json), the JSON renderer gets the key and value and the listing text is
// never formatted. With -db alone the JSON renderer is attached beside the
// listing: each field goes to both, and the store keeps the JSON of each
// message.
//
//   em.field("sql_error", sqlerr, "\t\tSQL error..........: %hd\n", sqlerr);
//   em.open("values", Emit::kList) ... em.close();      nesting
//   em.error("\nERROR: Read too far.\n");               a diagnostic
#pragma once

#include <cstdarg>
#include <cstdint>
#include <vector>

#include "driver/output.h"
#include "render/value.h"

namespace wp {

class JsonRender;

class Emit {
 public:
  enum Group : bool { kObject = false, kList = true };

  explicit Emit(Output& out) : out_(out) {}
  Emit(const Emit&) = delete;
  Emit& operator=(const Emit&) = delete;

  // Attaches the JSON renderer, in place of the listing or beside it.
  void setJson(JsonRender* json, bool listingToo = false) {
    json_ = json;
    listing_ = !json || listingToo;
  }
  // JSON values are built (a key or value that only JSON shows is wanted).
  bool json() const { return json_ != nullptr; }
  // The listing is written.
  bool listing() const { return listing_; }

  // A decoded field: the listing prints fmt with the arguments; JSON gets
  // key and v (the key is ignored inside a list).
  void field(const char* key, const Value& v, const char* fmt, ...) WP_PRINTF(4, 5) {
    fields_ += v.leaves();
    if (json_) {
      jsonField(key, v);
      if (!listing_) return;
    }
    va_list ap;
    va_start(ap, fmt);
    bool done = out_.fast(fmt, ap);
    va_end(ap);
    if (done) return;
    va_start(ap, fmt);
    out_.slow(fmt, ap);
    va_end(ap);
  }
  // A further value of the line the last field printed (the listing shows
  // it there already, so it prints nothing here).
  void also(const char* key, const Value& v) {
    fields_ += v.leaves();
    if (json_) jsonField(key, v);
  }
  // Listing text that is not a field of its own: a label that a field
  // completes, a group's heading, a blank line. JSON has no part in it.
  void text(const char* fmt, ...) WP_PRINTF(2, 3) {
    if (!listing_) return;
    va_list ap;
    va_start(ap, fmt);
    bool done = out_.fast(fmt, ap);
    va_end(ap);
    if (done) return;
    va_start(ap, fmt);
    out_.slow(fmt, ap);
    va_end(ap);
  }
  // Nesting: the fields up to the matching close() go into an object or a
  // list under key. The listing is not affected.
  void open(const char* key, Group g = kObject) {
    if (json_) jsonOpen(key, g);
  }
  void close() {
    if (json_) jsonClose();
  }

  // A diagnostic: the listing prints the text, which begins with
  // "\nERROR: "; JSON writes it as an object of its own with the packet and
  // offset it concerns (a message's fields never hold it).
  void error(const char* fmt, ...) WP_PRINTF(2, 3);

  // Where in the packet the dispatcher is (the offset of diagnostics that
  // arise outside a message).
  void at(int32_t offset) { pos_ = offset; }

  // A message: the listing prints its name line; JSON begins its object.
  // Messages nest when a decode pulls in a packet that is decoded on its own.
  // The name is a text that stays as it is for the run (the message
  // table's): JSON quotes it once.
  void beginMessage(int type, const char* name, int32_t offset) {
    ++open_;
    if (tally_) tallyBegin(type);
    if (!json_)
      out_.printf("\t%s\n", name);
    else
      jsonBeginMessage(type, name, offset);
  }
  void endMessage() {
    --open_;
    if (tally_) tallyEnd();
    if (json_) jsonEndMessage();
  }
  // A record of the trace file (packet, marker, header, statistics): its
  // fields follow as fields.
  void beginRecord(const char* kind) {
    if (tally_) tallyBeginRecord();
    if (json_) jsonBeginRecord(kind);
  }
  void endRecord() {
    if (tally_) tallyEndRecord();
    if (json_) jsonEndRecord();
  }

  // The run is over: messages it ended inside of end here, and what JSON
  // still holds is written.
  void finish();

  // Checks: when set, the JSON leaves each message's fields make are
  // appended to *t as each message ends (in either rendering), and the
  // message's type to *types when given.
  void setTally(std::vector<size_t>* t, std::vector<int>* types = nullptr) {
    tally_ = t;
    tallyTypes_ = types;
  }

 private:
  void jsonField(const char* key, const Value& v);
  void jsonOpen(const char* key, Group g);
  void jsonClose();
  void jsonBeginMessage(int type, const char* name, int32_t offset);
  void jsonEndMessage();
  void jsonBeginRecord(const char* kind);
  void jsonEndRecord();
  void tallyBegin(int type);
  void tallyEnd();
  void tallyBeginRecord();
  void tallyEndRecord();

  Output& out_;
  JsonRender* json_ = nullptr;
  bool listing_ = true;
  int32_t pos_ = 0;
  int open_ = 0;  // messages begun and not ended
  size_t fields_ = 0;
  std::vector<size_t>* tally_ = nullptr;
  std::vector<int>* tallyTypes_ = nullptr;
  std::vector<int> openTypes_;  // types of the messages begun and not ended
  std::vector<size_t> outer_;   // the counts of what a nested message or record interrupted
};

}  // namespace wp
