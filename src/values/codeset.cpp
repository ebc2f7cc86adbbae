#include "values/codeset.h"

#include <iconv.h>
#include <langinfo.h>

#include <cctype>
#include <cerrno>
#include <clocale>
#include <cstring>
#include <string>

#include "driver/run.h"

namespace wp {

namespace {

const iconv_t kNoConversion = reinterpret_cast<iconv_t>(-1);

// Code-set names compare without case and punctuation: "utf8" is "UTF-8".
std::string canonical(const char* name) {
  std::string s;
  for (; *name; ++name)
    if (isalnum(static_cast<unsigned char>(*name)))
      s += static_cast<char>(tolower(static_cast<unsigned char>(*name)));
  return s;
}

// One iconv step into rubuf from `done` on, growing it while the output does
// not fit. in null: the closing shift sequence. False on invalid input.
bool step(iconv_t cd, std::vector<char>& buf, size_t& done, char** in, size_t* inLeft) {
  for (;;) {
    char* out = buf.data() + done;
    size_t outLeft = buf.size() - 1 - done;  // room for the NUL
    size_t r = iconv(cd, in, inLeft, &out, &outLeft);
    done = static_cast<size_t>(out - buf.data());
    if (r != static_cast<size_t>(-1)) return true;
    if (errno != E2BIG) return false;
    buf.resize(buf.size() * 2);
  }
}

int32_t convert(Run& run, void* handle, const char* text, int32_t len) {
  if (!handle) return 0;
  size_t inLen = len < 1 ? strlen(text) : static_cast<size_t>(len);
  if (inLen == 0) return 0;
  iconv_t cd = static_cast<iconv_t>(handle);
  iconv(cd, nullptr, nullptr, nullptr, nullptr);  // back to the initial state
  std::vector<char>& buf = run.cs.rubuf;
  if (buf.size() < inLen * 2 + 16) buf.resize(inLen * 2 + 16);  // grown, never shrunk
  char* in = const_cast<char*>(text);
  size_t inLeft = inLen;
  size_t done = 0;
  if (!step(cd, buf, done, &in, &inLeft) || !step(cd, buf, done, nullptr, nullptr)) return 0;
  if (done > INT32_MAX) return 0;
  buf[done] = '\0';
  return static_cast<int32_t>(done);
}

}  // namespace

Codeset::~Codeset() {
  close();
}

void Codeset::close() {
  if (rd) iconv_close(static_cast<iconv_t>(rd));
  if (wr) iconv_close(static_cast<iconv_t>(wr));
  rd = wr = nullptr;
}

int initCodeset(Run& run, const char* tracecs) {
  setlocale(LC_ALL, "");
  Codeset& cs = run.cs;
  cs.close();
  cs.rubuf.clear();
  if (!tracecs || !*tracecs) return 0;
  const char* outcs = nl_langinfo(CODESET);
  if (canonical(tracecs) == canonical(outcs)) return 0;
  errno = 0;
  iconv_t rd = iconv_open(outcs, tracecs);
  if (rd == kNoConversion) return errno ? errno : EINVAL;
  iconv_t wr = iconv_open(tracecs, outcs);
  if (wr == kNoConversion) {
    int err = errno ? errno : EINVAL;
    iconv_close(rd);
    return err;
  }
  cs.rd = rd;
  cs.wr = wr;
  return 0;
}

bool convertsRead(const Run& run) {
  return run.opt.needcsc && run.cs.rd;
}
bool convertsWrite(const Run& run) {
  return run.opt.needcsc && run.cs.wr;
}

int32_t docsc(Run& run, const char* text, int32_t len) {
  return convert(run, run.cs.rd, text, len);
}
int32_t dowrcsc(Run& run, const char* text, int32_t len) {
  return convert(run, run.cs.wr, text, len);
}

}  // namespace wp
