// Inline SVG charts of the report.
#include "report/svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace wp::report {

namespace {

// Plot area inside the 960 x 240 view box.
constexpr double kWidth = 960, kHeight = 240;
constexpr double kLeft = 70, kRight = 20, kTop = 12, kBottom = 46;

std::string attr(double v) {
  return num(v, 1);
}

}  // namespace

std::string num(double v, int decimals) {
  // Neither infinities nor a "-0" on an axis.
  if (!std::isfinite(v) || std::abs(v) < 0.5 * std::pow(10, -decimals)) v = 0;
  char b[64];
  snprintf(b, sizeof b, "%.*f", decimals, v);
  return b;
}

std::vector<double> niceTicks(double min, double max, int want) {
  if (!(max > min)) max = min + 1;
  double raw = (max - min) / std::max(want, 1);
  double mag = std::pow(10, std::floor(std::log10(raw)));
  double step = mag;
  for (double m : {1.0, 2.0, 5.0, 10.0}) {
    step = m * mag;
    if (step >= raw) break;
  }
  std::vector<double> t;
  double first = std::ceil(min / step - 1e-9), last = std::ceil(max / step - 1e-9);
  for (double k = first; k <= last && t.size() <= 50; ++k) t.push_back(k * step);
  return t;
}

std::string escapeHtml(const std::string& s) {
  std::string o;
  o.reserve(s.size());
  for (size_t i = 0; i < s.size();) {
    auto c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) {
      switch (c) {
        case '&':
          o += "&amp;";
          break;
        case '<':
          o += "&lt;";
          break;
        case '>':
          o += "&gt;";
          break;
        case '"':
          o += "&quot;";
          break;
        case '\'':
          o += "&#39;";
          break;
        default:
          o += (c < 0x20 || c == 0x7f) ? ' ' : static_cast<char>(c);
      }
      ++i;
      continue;
    }
    // A well-formed UTF-8 sequence passes; anything else becomes U+FFFD.
    int n = c >= 0xc2 && c <= 0xdf   ? 2
            : c >= 0xe0 && c <= 0xef ? 3
            : c >= 0xf0 && c <= 0xf4 ? 4
                                     : 0;
    bool ok = n > 0 && i + n <= s.size();
    for (int k = 1; ok && k < n; ++k) ok = (static_cast<unsigned char>(s[i + k]) & 0xc0) == 0x80;
    if (ok && n == 3) {
      auto c1 = static_cast<unsigned char>(s[i + 1]);
      ok = !(c == 0xe0 && c1 < 0xa0) && !(c == 0xed && c1 >= 0xa0);
    }
    if (ok && n == 4) {
      auto c1 = static_cast<unsigned char>(s[i + 1]);
      ok = !(c == 0xf0 && c1 < 0x90) && !(c == 0xf4 && c1 >= 0x90);
    }
    if (ok) {
      o.append(s, i, static_cast<size_t>(n));
      i += static_cast<size_t>(n);
    } else {
      o += "\xef\xbf\xbd";
      ++i;
    }
  }
  return o;
}

std::string renderChart(const Chart& c) {
  double yMax = 0;
  for (const Bar& b : c.bars) yMax = std::max(yMax, b.y);
  for (const Point& p : c.points) yMax = std::max(yMax, p.y);
  std::vector<double> yTicks = niceTicks(0, yMax > 0 ? yMax : 1, 5);
  double yTop = yTicks.empty() ? 1 : std::max(yTicks.back(), yMax);
  double xMin = c.xMin, xMax = c.xMax > c.xMin ? c.xMax : c.xMin + 1;
  const double pw = kWidth - kLeft - kRight, ph = kHeight - kTop - kBottom;
  auto X = [&](double x) { return kLeft + (x - xMin) / (xMax - xMin) * pw; };
  auto Y = [&](double y) { return kTop + ph - y / yTop * ph; };

  std::string s;
  s += "<svg id=\"" + c.id + "\" class=\"chart\" viewBox=\"0 0 960 240\" role=\"img\" ";
  s += "xmlns=\"http://www.w3.org/2000/svg\">\n";
  // Grid and y axis labels.
  for (double t : yTicks) {
    std::string y = attr(Y(t));
    s += "<line class=\"grid\" x1=\"" + attr(kLeft) + "\" x2=\"" + attr(kLeft + pw) + "\" y1=\"" +
         y + "\" y2=\"" + y + "\"/>";
    s += "<text class=\"tick\" x=\"" + attr(kLeft - 6) + "\" y=\"" + y +
         "\" text-anchor=\"end\" dy=\"4\">" + escapeHtml(num(t, t == std::floor(t) ? 0 : 2)) +
         "</text>\n";
  }
  std::vector<Tick> xTicks = c.xTicks;
  if (xTicks.empty()) {
    for (double t : niceTicks(xMin / c.xScale, xMax / c.xScale, 8)) {
      double v = t * c.xScale;
      if (v < xMin - 1e-9 || v > xMax + 1e-9) continue;
      xTicks.push_back({v, num(t, t == std::floor(t) ? 0 : 1)});
    }
  }
  for (const Tick& t : xTicks) {
    std::string x = attr(X(t.at));
    s += "<line class=\"axis\" x1=\"" + x + "\" x2=\"" + x + "\" y1=\"" + attr(kTop + ph) +
         "\" y2=\"" + attr(kTop + ph + 5) + "\"/>";
    s += "<text class=\"tick\" x=\"" + x + "\" y=\"" + attr(kTop + ph + 18) +
         "\" text-anchor=\"middle\">" + escapeHtml(t.label) + "</text>\n";
  }
  // Axes and their titles.
  s += "<line class=\"axis\" x1=\"" + attr(kLeft) + "\" x2=\"" + attr(kLeft) + "\" y1=\"" +
       attr(kTop) + "\" y2=\"" + attr(kTop + ph) + "\"/>";
  s += "<line class=\"axis\" x1=\"" + attr(kLeft) + "\" x2=\"" + attr(kLeft + pw) + "\" y1=\"" +
       attr(kTop + ph) + "\" y2=\"" + attr(kTop + ph) + "\"/>\n";
  s += "<text class=\"title\" x=\"" + attr(kLeft + pw / 2) + "\" y=\"" + attr(kHeight - 6) +
       "\" text-anchor=\"middle\">" + escapeHtml(c.xTitle) + "</text>\n";
  s += "<text class=\"title\" transform=\"translate(16 " + attr(kTop + ph / 2) +
       ") rotate(-90)\" text-anchor=\"middle\">" + escapeHtml(c.yTitle) + "</text>\n";
  // Data.
  for (const Bar& b : c.bars) {
    double x0 = X(b.x0), x1 = X(b.x1), y = Y(b.y);
    double w = std::max(x1 - x0 - (x1 - x0 > 3 ? 1 : 0), 0.5);
    s += "<rect class=\"bar\" x=\"" + attr(x0) + "\" y=\"" + attr(y) + "\" width=\"" + attr(w) +
         "\" height=\"" + attr(kTop + ph - y) + "\"><title>" + escapeHtml(b.title) +
         "</title></rect>\n";
  }
  if (!c.points.empty()) {
    s += "<polyline class=\"line\" points=\"";
    for (const Point& p : c.points) s += attr(X(p.x)) + "," + attr(Y(p.y)) + " ";
    s += "\"/>\n";
    for (const Point& p : c.points) {
      s += "<circle class=\"pt\" cx=\"" + attr(X(p.x)) + "\" cy=\"" + attr(Y(p.y)) +
           "\" r=\"2.5\"><title>" + escapeHtml(p.title) + "</title></circle>\n";
    }
  }
  s += "</svg>\n";
  return s;
}

}  // namespace wp::report
