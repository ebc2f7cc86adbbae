// The heap's high mark while a probe is on: every C++ allocation of the test
// program goes through the counting operator new of heapprobe.cpp.
#pragma once

#include <cstddef>

namespace wp::test {

// Starts counting from zero live bytes.
void heapProbeStart();
// Stops counting; returns the most bytes that were live at once.
size_t heapProbeStop();

}  // namespace wp::test
