// The story of one frame of a trace in words, for readers who look at a drawing of it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/watch.h"

// The story of a frame in words, sentence by sentence: who begins it and why it may, who hears it
// and how, whose NAV it sets, what hits it, and what comes of it. `place` is that in TRACE::frames.
// What was not watched is said to lie before or behind the watch.
std::vector<std::string> FrameStory(const TRACE &trace, size_t place);
