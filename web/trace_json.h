// A trace as JSON, for a page that draws it.
#pragma once

#include <string>

#include "tools/watch.h"

// The object of WatchTo (web/interface.h).
std::string TraceJson(const TRACE &trace);
