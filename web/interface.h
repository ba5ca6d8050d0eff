// The simulator as a page calls it: a thin layer of plain functions over model, experiment reader
// and trace. An instance holds one experiment and does one thing at a time: a run, or a trace.
//
// Texts are UTF-8 and end with a zero; those that are returned stand until the next call. Where
// JSON is returned, an object with the member "error" tells in words why nothing was done. Ticks
// are microseconds since the load point began, in doubles since a page has no integers of 64 bits.
// What is called out of turn does nothing: it answers with an error, with 0 or, FindNext, with -1.
// A tick that lies behind the clock, or is no number, is reached already.
//
// All state lies in the memory of the instance: whoever copies the memory between two calls and
// puts it back later is where it was, files excepted. Pages go back in a trace by that.
#pragma once

#include <cstdint>

extern "C" {

// Reads the experiment file at `path`. JSON: "experiment", with all defaults filled in, "warnings",
// a text each, and "network": where the stations are ("stations", metres), whose frames each
// receives and whose carrier it senses ("receives", "senses"), the way of each flow ("paths"), and
// for each station what is hidden from it ("hidden": pairs of a station that it does not sense, and
// the receiver of its packets at which that one is heard). Ends a trace; refused while a run goes
// on.
const char *OpenExperiment(const char *path);

// Begins a run of the experiment that was opened last, with results below the directory `out`, and
// lets the model print nothing. JSON, empty if it has begun.
const char *BeginRun(const char *out);

// Runs the next load point, and tells of its progress by TellProgress. JSON: "more", whether there
// are further ones, "trial", from 0 on, and "point", the means of all trials run so far at this
// load: "load_kbps", its "index", "trials", for each of "flows" the rates "offered" and "delivered"
// in Mbit/s, "delay_us" (null if nothing was delivered) and whether it is "steady", and of all
// flows "total", in Mbit/s, and Jain's "fairness" (null if nothing was delivered). "next" is a text
// from which a trace can begin at the next load point.
const char *StepRun();

// Ends a run behind its last load point: all files and the manifest are there. JSON, empty if all
// is well.
const char *EndRun();

// Begins a trace of the experiment that was opened last, in front of its first load point. Returns
// 0 if memory is short.
int32_t BeginTrace();

// Goes to tick 0 of the next load point. The one before has to be run to its end: the random
// numbers go on. Returns how many load points have been entered so far.
int32_t EnterLoadPoint();

// The same for any load point of the sweep, counted from 0, of which StepRun of another instance
// has told what comes "next": without running those before. Returns 0 and does nothing if it is no
// such text.
int32_t EnterLoadPointFrom(int32_t number, const char *start);

// Runs to tick `until`, at most the end of the load point.
void RunTo(double until);

// Runs to tick `until` and watches. JSON: "from", "until", "slot" in ticks, names of "phases" and
// "frame_names" by number, and "lanes", "frames" and "marks" as docs/page.md tells.
const char *WatchTo(double until);

// What was watched last: the table that dcfsim-trace writes, and a frame in sentences, a JSON list;
// `frame` is its place in "frames".
const char *TraceTable();
const char *TellFrame(int32_t frame);

// What to look for.
enum SOUGHT : int32_t {
    SOUGHT_COLLISION = 0, // a frame is hit at the station that it is for
    SOUGHT_DROP = 1,      // a packet is given up
    SOUGHT_TIMEOUT = 2,   // an answer is missing
};

// Runs on to tick `until` at most, and looks. Returns the first tick in which it happens, or -1;
// the clock then stands somewhere behind that tick.
double FindNext(int32_t sought, double until);

// The tick that is run next.
double ClockTick();

// Called, not defined here: told while a load point runs which part of the run, 0 to 1, lies
// behind.
void TellProgress(double share);
}
