// -report FILE: one self-contained HTML page of the trace's round trips, with
// its charts drawn here as inline SVG and a few lines of script to sort the
// tables; it opens from disk and fetches nothing.
#pragma once

#include <string>

#include "analysis/collector.h"

namespace wp::report {

// The whole page.
std::string renderHtml(const analysis::Collector& c);

// Renders and writes the page; false with `error` set when writing failed.
bool writeHtml(const analysis::Collector& c, const std::string& path, std::string& error);

}  // namespace wp::report
