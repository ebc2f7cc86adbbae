// The HTML report: overview, timeline, latency histogram, top statements,
// errors and client threads of one trace.
#include "report/html.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "report/svg.h"

namespace wp::report {

namespace {

using analysis::Collector;
using analysis::StatementGroup;

// Rows of the statements table; the rest are summed in a line below it.
constexpr size_t kTopStatements = 100;

const char* const kStyle = R"css(
body{font:14px/1.4 sans-serif;margin:24px;color:#222;max-width:1100px}
h1{font-size:22px}h2{font-size:17px;margin-top:28px;border-bottom:1px solid #ccc}
table{border-collapse:collapse;margin:8px 0}td,th{padding:3px 8px;border-bottom:1px solid #e4e4e4;
text-align:right;vertical-align:top}th{background:#f2f2f2;white-space:nowrap}
td.sql{text-align:left;font-family:monospace;font-size:12px;max-width:520px;word-break:break-all}
table.sortable th{cursor:pointer}table.sortable th:after{content:" \2195";color:#999}
dl{display:grid;grid-template-columns:max-content auto;gap:2px 16px}dt{color:#555}dd{margin:0}
.chart{width:100%;max-width:960px;height:auto;display:block}
.chart .bar{fill:#4a7ab5}.chart .line{fill:none;stroke:#c0392b;stroke-width:1.5}
.chart .pt{fill:#c0392b}.chart .grid{stroke:#e8e8e8}.chart .axis{stroke:#555}
.chart text{font-size:11px;fill:#333}.chart .title{font-size:12px}
.warn{background:#fff3cd;border:1px solid #e0c060;padding:8px}.note{color:#666;font-size:12px}
)css";

// Sorts a table by the clicked column: numbers by their data-v, else text.
// Any script error is left on the page for the tests to see.
const char* const kScript = R"js(
window.addEventListener('error', function (e) {
  document.body.setAttribute('data-script-error', String(e.message));
});
function sortBy(th) {
  var table = th.closest('table'), body = table.tBodies[0];
  var col = Array.prototype.indexOf.call(th.parentNode.children, th);
  var down = th.getAttribute('data-dir') !== 'down';
  th.parentNode.querySelectorAll('th').forEach(function (h) { h.removeAttribute('data-dir'); });
  th.setAttribute('data-dir', down ? 'down' : 'up');
  var rows = Array.prototype.slice.call(body.rows);
  function key(r) {
    var c = r.cells[col], v = c.getAttribute('data-v');
    return v === null ? c.textContent : parseFloat(v);
  }
  rows.sort(function (a, b) {
    var x = key(a), y = key(b), o = x < y ? -1 : x > y ? 1 : 0;
    return down ? -o : o;
  });
  rows.forEach(function (r) { body.appendChild(r); });
}
document.querySelectorAll('table.sortable th').forEach(function (th) {
  th.addEventListener('click', function () { sortBy(th); });
});
document.body.setAttribute('data-ready', document.querySelectorAll('svg .bar').length);
)js";

std::string clock(double t) {
  if (!(t >= 1 && t < 9.2e15)) return "none";
  auto whole = static_cast<time_t>(t);
  struct tm tmv;
  if (!localtime_r(&whole, &tmv)) return "none";
  char b[64];
  size_t n = strftime(b, sizeof b, "%Y-%m-%d %H:%M:%S", &tmv);
  snprintf(b + n, sizeof b - n, ".%06d", static_cast<int>((t - std::floor(t)) * 1e6));
  return b;
}

std::string ms(double seconds) {
  return num(seconds * 1000, 3);
}

// A cell sorted by its number.
std::string cell(double v, const std::string& shown) {
  return "<td data-v=\"" + num(v, 9) + "\">" + shown + "</td>";
}
std::string cell(uint64_t v) {
  return cell(static_cast<double>(v), std::to_string(v));
}

std::string statementText(const std::string& t) {
  return t.empty() ? "<i>(text not in the trace)</i>" : escapeHtml(t);
}

// Of several traces, what each one held.
void traceTable(std::string& h, const Collector& c) {
  h += "<table id=\"traces\" class=\"sortable\"><thead><tr><th>trace</th><th>file</th>"
       "<th>first time stamp</th><th>last time stamp</th><th>packets</th><th>round trips</th>"
       "<th>errors</th><th>damaged packets</th><th>read to its end</th></tr></thead><tbody>\n";
  for (size_t i = 0; i < c.traces.size(); ++i) {
    const analysis::TraceSummary& t = c.traces[i];
    auto count = [](int64_t v) { return cell(static_cast<uint64_t>(std::max<int64_t>(v, 0))); };
    h += "<tr>" + cell(static_cast<uint64_t>(i + 1)) + "<td class=\"sql\">" + escapeHtml(t.file) +
         "</td>" + cell(t.firstTime, clock(t.firstTime)) + cell(t.lastTime, clock(t.lastTime)) +
         count(t.packets) + count(t.trips) + count(t.errors) + count(t.damagedPackets) + "<td>" +
         (t.failure.empty() ? std::string("yes") : "no: " + escapeHtml(t.failure)) + "</td></tr>\n";
  }
  h += "</tbody></table>\n";
}

void overview(std::string& h, const Collector& c) {
  h += "<h2>Overview</h2>\n<dl>\n";
  auto item = [&](const std::string& k, const std::string& v) {
    h += "<dt>" + k + "</dt><dd>" + v + "</dd>\n";
  };
  if (c.merged())
    item("traces", std::to_string(c.traces.size()) + " (listed below)");
  else
    item("trace file", escapeHtml(c.file));
  item("first time stamp", clock(c.firstTime));
  item("last time stamp", clock(c.lastTime));
  item("duration", num(c.lastTime - c.firstTime, 3) + " s");
  item("packets C&rarr;S",
       std::to_string(c.packets[0]) + " (" + std::to_string(c.bytes[0]) + " bytes)");
  item("packets S&rarr;C",
       std::to_string(c.packets[1]) + " (" + std::to_string(c.bytes[1]) + " bytes)");
  item("client threads", std::to_string(c.threads.size()));
  item("statements sent", std::to_string(c.statementsSent));
  item("distinct statements", std::to_string(c.distinctStatements) + " (by normalised text)");
  item("round trips",
       std::to_string(c.trips) + " (" + std::to_string(c.trips - c.replied) + " without a reply)");
  item("messages", std::to_string(c.messages));
  item("errors (SQ_ERR)", std::to_string(c.errors));
  item("client time", num(c.clientTime, 3) + " s");
  item("server + network time", num(c.serverTime, 3) + " s");
  if (c.forks) item("fork markers", std::to_string(c.forks));
  item("damaged packets", std::to_string(c.damagedPackets));
  h += "</dl>\n";
  if (c.merged()) traceTable(h, c);
}

void timeline(std::string& h, const Collector& c) {
  const auto& buckets = c.timeline.buckets();
  double w = c.timeline.width();
  double span = static_cast<double>(buckets.size()) * w;
  double scale = span > 7200 ? 3600 : span > 600 ? 60 : 1;
  const char* unit = scale == 3600 ? "h" : scale == 60 ? "min" : "s";
  std::string since = "time since " + clock(c.timeline.origin()) + " (" + unit + ")";
  Chart rate, p95;
  rate.id = "timeline-rate";
  p95.id = "timeline-p95";
  rate.xTitle = p95.xTitle = since;
  rate.xMax = p95.xMax = span;
  rate.xScale = p95.xScale = scale;
  rate.yTitle = "round trips / s";
  p95.yTitle = "p95 latency (ms)";
  for (size_t i = 0; i < buckets.size(); ++i) {
    const auto& b = buckets[i];
    double x0 = static_cast<double>(i) * w;
    if (b.trips) {
      rate.bars.push_back({x0, x0 + w, static_cast<double>(b.trips) / w,
                           "+" + num(x0, 0) + " s: " + std::to_string(b.trips) + " round trips"});
    }
    if (b.latency && b.latency->count()) {
      double v = b.latency->percentile(95);
      p95.points.push_back({x0 + w / 2, v * 1000, "+" + num(x0, 0) + " s: p95 " + ms(v) + " ms"});
    }
  }
  h += "<h2>Timeline</h2>\n<p class=\"note\">Buckets of " + num(w, 0) +
       " s; round trips by the time of their request. The 95th percentile per bucket comes from "
       "a histogram of 2% wide bins (within 1% of the exact value).</p>\n";
  h += renderChart(rate);
  h += renderChart(p95);
}

std::string latencyLabel(int bin) {
  if (bin == 0) return "<1 µs";
  double us = std::pow(10, (bin - 1) / 4.0);
  if (us < 1000) return num(us, 0) + " µs";
  if (us < 1e6) return num(us / 1000, 0) + " ms";
  return num(us / 1e6, 0) + " s";
}

void histogram(std::string& h, const Collector& c) {
  int lo = Collector::kCoarseBins, hi = -1;
  for (int b = 0; b < Collector::kCoarseBins; ++b) {
    if (!c.coarse[static_cast<size_t>(b)]) continue;
    lo = std::min(lo, b);
    hi = std::max(hi, b);
  }
  Chart ch;
  ch.id = "latency-histogram";
  ch.xTitle = "latency (logarithmic, four bins per decade)";
  ch.yTitle = "round trips";
  if (hi < 0) lo = 1, hi = 1;
  // Whole decades on the axis.
  lo = lo == 0 ? 0 : std::max(1, lo - (lo - 1) % 4);
  hi = std::min(Collector::kCoarseBins - 1, hi + 3 - (hi - 1 + 4) % 4);
  ch.xMin = lo;
  ch.xMax = hi + 1;
  for (int b = lo; b <= hi; ++b) {
    if (b == 0 || (b - 1) % 4 == 0) ch.xTicks.push_back({static_cast<double>(b), latencyLabel(b)});
    uint64_t n = c.coarse[static_cast<size_t>(b)];
    if (!n) continue;
    std::string range =
        b == 0 ? "under 1 µs" : "from " + num(std::pow(10, (b - 1) / 4.0), 1) + " µs";
    ch.bars.push_back({static_cast<double>(b), b + 1.0, static_cast<double>(n),
                       range + ": " + std::to_string(n) + " round trips"});
  }
  h += "<h2>Latency histogram</h2>\n<p class=\"note\">Latency of a round trip: from the request "
       "packet to the first reply packet (server plus network time). " +
       std::to_string(c.replied) + " round trips with a reply.</p>\n";
  h += renderChart(ch);
}

void statements(std::string& h, const Collector& c) {
  std::vector<const StatementGroup*> order;
  for (const StatementGroup& g : c.groups)
    if (g.trips) order.push_back(&g);
  std::stable_sort(
      order.begin(), order.end(),
      [](const StatementGroup* a, const StatementGroup* b) { return a->total > b->total; });
  h += "<h2>Top statements by total time</h2>\n<p class=\"note\">Statements grouped by their "
       "normalised text; a round trip counts for the statement its thread was running. Latencies "
       "in ms; percentiles are exact (nearest rank). Click a column to sort.</p>\n";
  h += "<table id=\"statements\" class=\"sortable\"><thead><tr><th>#</th><th>statement</th>"
       "<th>round trips</th><th>total s</th><th>mean</th><th>p50</th><th>p95</th><th>p99</th>"
       "<th>max</th><th>rows fetched</th><th>errors</th></tr></thead><tbody>\n";
  std::vector<float> sorted;
  size_t shown = std::min(order.size(), kTopStatements);
  for (size_t i = 0; i < shown; ++i) {
    const StatementGroup& g = *order[i];
    sorted = g.latencies;
    std::sort(sorted.begin(), sorted.end());
    double mean = g.replied ? g.total / static_cast<double>(g.replied) : 0;
    double p50 = analysis::nearestRank(sorted, 50), p95 = analysis::nearestRank(sorted, 95),
           p99 = analysis::nearestRank(sorted, 99);
    h += "<tr>" + cell(static_cast<uint64_t>(i + 1)) + "<td class=\"sql\">" +
         statementText(g.text) + "</td>" + cell(g.trips) + cell(g.total, num(g.total, 3)) +
         cell(mean, ms(mean)) + cell(p50, ms(p50)) + cell(p95, ms(p95)) + cell(p99, ms(p99)) +
         cell(g.max, ms(g.max)) + cell(g.rows) + cell(g.errors) + "</tr>\n";
  }
  h += "</tbody></table>\n";
  if (order.size() > shown) {
    uint64_t trips = 0;
    double total = 0;
    for (size_t i = shown; i < order.size(); ++i)
      trips += order[i]->trips, total += order[i]->total;
    h += "<p class=\"note\">" + std::to_string(order.size() - shown) +
         " more statements: " + std::to_string(trips) + " round trips, " + num(total, 3) +
         " s.</p>\n";
  }
}

void errors(std::string& h, const Collector& c) {
  std::vector<std::pair<std::pair<int16_t, int16_t>, analysis::ErrorGroup>> order(
      c.errorGroups.begin(), c.errorGroups.end());
  std::stable_sort(order.begin(), order.end(),
                   [](const auto& a, const auto& b) { return a.second.count > b.second.count; });
  h += "<h2>Errors</h2>\n";
  if (order.empty()) {
    h += "<p>No SQ_ERR in the trace.</p>\n";
    return;
  }
  h += "<table id=\"errors\" class=\"sortable\"><thead><tr><th>SQL error</th><th>ISAM error</th>"
       "<th>count</th>";
  h += c.merged() ? "<th>trace of the first</th>" : "";
  h += "<th>first packet</th><th>statement of the first</th></tr></thead><tbody>\n";
  for (const auto& [key, g] : order) {
    std::string text = g.firstGroup < c.groups.size() ? statementText(c.groups[g.firstGroup].text)
                                                      : "<i>(none)</i>";
    h += "<tr>" + cell(key.first, std::to_string(key.first)) +
         cell(key.second, std::to_string(key.second)) + cell(g.count) +
         (c.merged() ? cell(static_cast<uint64_t>(g.firstTrace + 1)) : std::string()) +
         cell(static_cast<double>(g.firstPacket), std::to_string(g.firstPacket)) +
         "<td class=\"sql\">" + text + "</td></tr>\n";
  }
  h += "</tbody></table>\n";
}

void threads(std::string& h, const Collector& c) {
  h += "<h2>Client threads</h2>\n<table id=\"threads\" class=\"sortable\"><thead><tr>";
  h += c.merged() ? "<th>trace</th>" : "";
  h += "<th>thread (MT address)</th><th>packets</th><th>round trips</th><th>busy "
       "s</th><th>statements "
       "sent</th><th>errors</th></tr></thead><tbody>\n";
  for (const analysis::ThreadStats& t : c.threads) {
    std::string address = t.address.empty() ? "(before any MT record)" : escapeHtml(t.address);
    h += "<tr>" + (c.merged() ? cell(static_cast<uint64_t>(t.trace + 1)) : std::string()) +
         cell(static_cast<double>(t.key), address) + cell(t.packets) + cell(t.trips) +
         cell(t.busy, num(t.busy, 3)) + cell(t.statements) + cell(t.errors) + "</tr>\n";
  }
  h += "</tbody></table>\n<p class=\"note\">Busy time: the latencies of the thread's round "
       "trips summed.</p>\n";
}

}  // namespace

std::string renderHtml(const Collector& c) {
  std::string h;
  std::string name = c.merged() ? std::to_string(c.traces.size()) + " traces" : escapeHtml(c.file);
  h += "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n<title>wireprint "
       "report: " +
       name + "</title>\n<style>" + kStyle + "</style></head>\n<body>\n";
  h += "<h1>wireprint report: " + name + "</h1>\n";
  if (c.damagedPackets) {
    h += "<p class=\"warn\" id=\"damaged\">Damaged packets: " + std::to_string(c.damagedPackets) +
         ". The figures cover what could be decoded.</p>\n";
  }
  overview(h, c);
  timeline(h, c);
  histogram(h, c);
  statements(h, c);
  errors(h, c);
  threads(h, c);
  h += "<p class=\"note\">Written by wireprint " WIREPRINT_VERSION ".</p>\n<script>" +
       std::string(kScript) + "</script>\n</body></html>\n";
  return h;
}

bool writeHtml(const Collector& c, const std::string& path, std::string& error) {
  std::string page = renderHtml(c);
  FILE* f = fopen(path.c_str(), "w");
  bool ok = f && fwrite(page.data(), 1, page.size(), f) == page.size();
  if (f && fclose(f) != 0) ok = false;
  if (!ok) error = strerror(errno);
  return ok;
}

}  // namespace wp::report
