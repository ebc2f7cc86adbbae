// The program as a user runs it on traces from anywhere: pipes and FIFOs,
// compressed files damaged in the middle, several generated traces at one
// and at several jobs, time windows over a generated trace, and a trace that
// grows while it is followed. Each case runs the built binary.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "program.h"

namespace wp::test {
namespace {

class Inputs : public Scratch {
 protected:
  std::vector<uint8_t> read(const std::string& file) {
    std::ifstream f(file, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(f), {});
  }
  // Runs a shell command in the test's directory.
  void sh(const std::string& cmd) {
    std::string full = "cd '" + dir_ + "' && " + cmd;
    ASSERT_EQ(system(full.c_str()), 0) << cmd;
  }
};

// The listing's packet time stamps, as printed.
std::vector<std::string> stamps(const std::string& listing) {
  std::vector<std::string> t;
  for (size_t at = listing.find("Time: "); at != std::string::npos;
       at = listing.find("Time: ", at + 1))
    t.push_back(listing.substr(at + 6, 25));
  return t;
}

// The value after a summary line's label.
long counter(const std::string& listing, const std::string& label) {
  size_t at = listing.find(label);
  if (at == std::string::npos) return -1;
  return strtol(listing.c_str() + at + label.size(), nullptr, 10);
}

TEST_F(Inputs, PipesAndFifosReadLikeTheFile) {
  std::string t = generated("t.trace", 7, 3 << 20);
  sh("gzip -k t.trace");
  Result plain = run({t});
  ASSERT_EQ(plain.status, 0);
  ASSERT_GT(plain.out.size(), size_t{1} << 20);

  EXPECT_EQ(run({"-"}, t).out, plain.out);
  EXPECT_EQ(run({"-"}, t + ".gz").out, plain.out);

  // A FIFO fed in small pieces: reads come back short and the header's
  // look-ahead cannot seek.
  for (const char* name : {"t.trace", "t.trace.gz"}) {
    std::string fifo = path("fifo");
    unlink(fifo.c_str());
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::vector<uint8_t> bytes = read(path(name));
    std::thread writer([&] {
      int fd = open(fifo.c_str(), O_WRONLY);
      for (size_t at = 0; at < bytes.size(); at += 1000) {
        size_t n = std::min<size_t>(1000, bytes.size() - at);
        EXPECT_EQ(::write(fd, bytes.data() + at, n), static_cast<ssize_t>(n));
      }
      close(fd);
    });
    Result r = run({fifo});
    writer.join();
    EXPECT_EQ(r.status, 0) << name;
    EXPECT_EQ(r.out, plain.out) << name;
    EXPECT_EQ(r.err, "") << name;
  }
}

TEST_F(Inputs, SeveralTracesAtOneAndTwoJobsAreIdentical) {
  std::vector<std::string> traces = {generated("a.trace", 1, 2 << 20),
                                     generated("b.trace", 2, 3 << 20),
                                     generated("c.trace", 3, 1 << 20)};
  sh("zstd -q b.trace && gzip -k c.trace && gzip -c a.trace | head -c 300000 > cut.gz");
  std::vector<std::string> args = {"-summary",        "-stmt_stat",    path("a.trace"),
                                   path("cut.gz"),    path("missing"), path("b.trace.zst"),
                                   path("c.trace.gz")};
  auto with = [&](const char* jobs) {
    std::vector<std::string> a = {"-j", jobs};
    a.insert(a.end(), args.begin(), args.end());
    return run(a);
  };
  Result one = with("1");
  EXPECT_EQ(one.status, 1);  // the missing trace
  for (const char* jobs : {"2", "3"}) {
    Result r = with(jobs);
    EXPECT_EQ(r.status, one.status) << jobs;
    EXPECT_TRUE(r.out == one.out) << "stdout differs at -j " << jobs;
    EXPECT_EQ(r.err, one.err) << jobs;
  }
  // Standard error: the cut stream and the missing file, in argument order.
  EXPECT_EQ(one.err, path("cut.gz") + ": truncated gzip input\n" + path("missing") +
                         ": No such file or directory\n");

  // Each trace's listing is its own run's, under its header.
  Result a = run({traces[0]}), b = run({traces[1]}), c = run({traces[2]});
  std::string lists = "==> " + path("a.trace") + " <==\n" + a.out;
  EXPECT_EQ(one.out.compare(0, lists.size(), lists), 0);
  size_t at = one.out.find("\n==> " + path("b.trace.zst") + " <==\n" + b.out);
  EXPECT_NE(at, std::string::npos);
  EXPECT_NE(one.out.find("\n==> " + path("c.trace.gz") + " <==\n" + c.out), std::string::npos);
  // The cut trace lists a beginning of a's listing.
  size_t cut = one.out.find("==> " + path("cut.gz") + " <==\n");
  ASSERT_NE(cut, std::string::npos);
  EXPECT_EQ(one.out.compare(cut + path("cut.gz").size() + 9, 200, a.out, 0, 200), 0);

  // The packet counters of the summary are the sums of the traces' own
  // (the cut one adds what it read before the damage).
  std::vector<Result> alone;
  for (const std::string& t : {traces[0], path("cut.gz"), traces[1], traces[2]})
    alone.push_back(run({"-summary", t}));
  for (const char* label : {"Number of C->S message send = ", "Number of S->C message send = ",
                            "Number of prepare statements encountered = "}) {
    long sum = 0;
    for (const Result& r : alone) sum += counter(r.out, label);
    EXPECT_GT(counter(alone[1].out, label), 0) << label;
    EXPECT_EQ(counter(one.out, label), sum) << label;
  }
}

TEST_F(Inputs, TimeWindowOverAGeneratedTrace) {
  std::string t = generated("t.trace", 5, 2 << 20);
  Result full = run({t});
  std::vector<std::string> all = stamps(full.out);
  ASSERT_GT(all.size(), 100u);
  // From the first packet's instant: everything.
  Result from = run({"-from", all.front().substr(0, 10) + "T" + all.front().substr(11, 8), t});
  EXPECT_EQ(from.out, full.out);
  // A window of whole seconds, both ends included: the packets stamped from
  // the first second on, up to the last second's very instant.
  std::string lo = all[all.size() / 3].substr(0, 19), hi = all[2 * all.size() / 3].substr(0, 19);
  std::vector<std::string> want;
  for (const std::string& s : all) {
    std::string second = s.substr(0, 19);
    if (second >= lo && (second < hi || (second == hi && s.substr(20) == "00000")))
      want.push_back(s);
  }
  ASSERT_GT(want.size(), 10u);
  auto iso = [](const std::string& s) { return s.substr(0, 10) + "T" + s.substr(11); };
  Result window = run({"-to", iso(hi) + "Z", "-from", iso(lo), t});
  EXPECT_EQ(stamps(window.out), want);
}

TEST_F(Inputs, FollowReadsWhatTheWriterAppends) {
  std::string t = generated("t.trace", 9, 2 << 20);
  Result whole = run({"-summary", "-stmt_stat", t});
  std::vector<uint8_t> bytes = read(t);
  std::string grow = path("grow.trace");
  // Cut the file mid-record: the reader must wait for the rest of it.
  size_t first = bytes.size() / 3 + 5;
  {
    std::ofstream f(grow, std::ios::binary);
    f.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(first));
  }
  pid_t pid = start({"-follow", "-summary", "-stmt_stat", grow});
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  {
    std::ofstream f(grow, std::ios::binary | std::ios::app);
    for (size_t at = first; at < bytes.size(); at += 100000) {
      size_t n = std::min<size_t>(100000, bytes.size() - at);
      f.write(reinterpret_cast<const char*>(bytes.data() + at), static_cast<std::streamsize>(n));
      f.flush();
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }
  // Still running: it waits for more.
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  int st;
  EXPECT_EQ(waitpid(pid, &st, WNOHANG), 0);
  kill(pid, SIGINT);
  Result r = collect(pid);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_TRUE(r.out == whole.out) << "the followed listing differs from the whole file's";
}

}  // namespace
}  // namespace wp::test
