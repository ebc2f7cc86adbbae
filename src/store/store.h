// -db FILE: the trace as a SQLite database. Rows are collected as the
// collector completes them and stored by a writer thread, through prepared
// statements, in large transactions; the statements, threads and the
// trace's own row at the end.
#pragma once

#include <memory>
#include <string>

#include "analysis/collector.h"

namespace wp::store {

class Batch;

// The tables, as created (also shown in the README and the manual page).
extern const char* const kSchema;

class Store : public analysis::RowSink {
 public:
  // Opens (replacing) the file and creates the tables; null with `error`
  // set when that fails.
  static std::unique_ptr<Store> open(const std::string& path, int64_t traceId, std::string& error);
  ~Store() override;

  void packet(const analysis::PacketRow& r) override;
  void message(const analysis::MessageRow& r) override;
  void roundTrip(const analysis::RoundTripRow& r) override;
  void error(const analysis::ErrorRow& r) override;

  // Writes the remaining tables and commits. False with `error` set when
  // any write failed. A merged collector's rows came with the appended
  // traces: only the commit is left.
  bool finish(const analysis::Collector& c, std::string& error) override;

  // Copies every row of the database of one trace of several, written by a
  // store of its own, after the rows already here. False when that failed
  // (finish() then reports why).
  bool append(const std::string& path);
  // Fails the store with `why` (a trace of several whose rows are lost).
  void fail(const std::string& why);
  // Of several traces, one written here directly: its rows carry `id`; at
  // its end its statements, threads and trace row follow. False when a
  // write failed.
  void beginTrace(int64_t id);
  bool endTrace(const analysis::Collector& c);

  struct Impl;

 private:
  explicit Store(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

// The rows of one trace of several, written straight into the store of all
// of them (whose owner does not touch it meanwhile).
class TraceWriter : public analysis::RowSink {
 public:
  TraceWriter(Store& all, int64_t id) : all_(all) { all_.beginTrace(id); }
  void packet(const analysis::PacketRow& r) override { all_.packet(r); }
  void message(const analysis::MessageRow& r) override { all_.message(r); }
  void roundTrip(const analysis::RoundTripRow& r) override { all_.roundTrip(r); }
  void error(const analysis::ErrorRow& r) override { all_.error(r); }
  bool finish(const analysis::Collector& c, std::string& error) override;

 private:
  Store& all_;
};

}  // namespace wp::store
