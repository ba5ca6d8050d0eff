// The forms in which a trace is written. Each function fills an open file and returns whether that
// has worked; a write that fails may show only when the file is flushed.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "tools/watch.h"

constexpr uint64_t SVG_TICKS = 200'000; // longest time that is drawn

// What an event tells besides, as the table of events has it; empty if nothing.
std::string EventDetail(const TRACE &trace, const TRACE_EVENT &event);

// A row per event; docs/results.md describes the columns.
bool WriteTraceCsv(FILE *file, const TRACE &trace);

// A drawing with a lane per station of `stations`, one bit each, headed by `title`, in strips of up
// to 1000 ticks.
bool WriteTraceSvg(FILE *file, const TRACE &trace, uint32_t stations, const std::string &title);

// Trace events in JSON, for the Perfetto viewer.
bool WriteTracePerfetto(FILE *file, const TRACE &trace);

// The frames that begin in the ticks watched, as a pcap file of IEEE 802.11 with radiotap. `at` is
// EMPTY for all frames as sent, or the station whose receptions are written; these are left out
// where the watch ends before they do.
bool WriteTracePcap(FILE *file, const TRACE &trace, int at);
