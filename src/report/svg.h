// The report's charts: bars and points on linear axes with labelled ticks.
#pragma once

#include <string>
#include <vector>

namespace wp::report {

struct Bar {
  double x0, x1, y;   // in data units
  std::string title;  // tooltip
};

struct Point {
  double x, y;
  std::string title;
};

struct Tick {
  double at;
  std::string label;
};

struct Chart {
  std::string id;              // element id of the <svg>
  std::string xTitle, yTitle;  // axis titles with their units
  double xMin = 0, xMax = 1;   // x range
  std::vector<Tick> xTicks;    // empty: chosen here
  double xScale = 1;           // tick labels show x / xScale
  std::vector<Bar> bars;       // drawn as <rect class="bar">
  std::vector<Point> points;   // joined by a line, each a <circle class="pt">
};

// Round numbers (1, 2 or 5 times a power of ten) from 0 to at least `max`.
std::vector<double> niceTicks(double min, double max, int want);

// The chart as an <svg> element.
std::string renderChart(const Chart& c);

// Text for HTML: markup characters escaped, invalid UTF-8 and control bytes
// replaced, so any statement text from a trace makes a valid page.
std::string escapeHtml(const std::string& s);

// A number with `decimals` places.
std::string num(double v, int decimals);

}  // namespace wp::report
