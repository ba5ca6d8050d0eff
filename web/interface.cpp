#include "web/interface.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "driver/observer.h"
#include "driver/program.h"
#include "driver/state.h"
#include "driver/sweep.h"
#include "driver/tick.h"
#include "output/settings_json.h"
#include "tools/derived.h"
#include "tools/experiment_file.h"
#include "tools/experiment_network.h"
#include "tools/experiment_run.h"
#include "tools/experiment_warnings.h"
#include "tools/flow_watch.h"
#include "tools/load_point_start.h"
#include "tools/plain_file.h"
#include "tools/steady.h"
#include "tools/trace_forms.h"
#include "tools/trace_story.h"
#include "tools/watch.h"
#include "topology/random.h"
#include "web/network.h"
#include "web/trace_json.h"

using nlohmann::json;

// What the trials run so far have yielded at a load, summed.
struct LOAD_SUMS {
    int32_t trials = 0;
    std::vector<double> offered;
    std::vector<double> delivered;
    std::vector<double> delay_us;   // of the trials in which something was delivered
    std::vector<int32_t> delay_num; // how many these are
};

// What the instance is at.
enum WORK_STAGE : int32_t {
    NOTHING_OPEN, // no experiment that could be run
    OPEN,
    RUNNING,
    TRACING, // in front of the first load point
    IN_LOAD_POINT,
};

static WORK_STAGE g_work = NOTHING_OPEN;
static std::string g_answer; // what was returned last
static EXPERIMENT_RUN g_run;
static std::vector<LOAD_SUMS> g_sums; // by load
static BALANCE g_balance;
static int32_t g_step;  // load points run, or entered in a trace
static TRACE g_trace;   // what was watched last
static int64_t g_found; // tick in which what is sought happened, EMPTY if it has not
static NOTE g_sought;

static const char *Answer(const json &object)
{
    g_answer = object.dump(-1, ' ', false, json::error_handler_t::replace);
    return g_answer.c_str();
}

static const char *Refusal(const std::string &why)
{
    return Answer(why.empty() ? json::object() : json({{"error", OneLine(why)}}));
}

// Calls `work`, and answers with what has gone wrong in it instead, if anything does.
template <class WORK> static const char *Guarded(WORK work)
{
    try {
        return work();
    } catch (const std::bad_alloc &) {
        return Refusal("memory is short: take a smaller experiment, or run dcfsim-experiment");
    } catch (const std::exception &error) {
        return Refusal(error.what());
    }
}

// Load points of the sweep.
static int32_t PlannedSteps()
{
    return g_settings.load_num * g_settings.trial_num;
}

const char *OpenExperiment(const char *path)
{
    return Guarded([path] {
        if (g_work == RUNNING) {
            return Refusal("a run is going on");
        }
        FreeState(); // of a trace
        g_work = NOTHING_OPEN;
        const std::string bad = ReadExperiment(path, g_settings);
        if (!bad.empty()) {
            return Refusal(bad);
        }
        json network;
        if (!WithNetwork(g_settings, [&network] { network = DescribeNetwork(); })) {
            return Refusal("memory is short");
        }
        const std::vector<std::string> warnings = WarningsOf(g_settings);
        g_work = OPEN;
        // A page cannot hold a seed of 64 bits, so the experiment stays a text.
        return Answer({{"experiment", SettingsAsJson(g_settings, 0)},
                       {"warnings", warnings},
                       {"network", network}});
    });
}

const char *BeginRun(const char *out)
{
    return Guarded([out] {
        if (g_work == NOTHING_OPEN || g_work == RUNNING) {
            return Refusal(g_work == RUNNING ? "a run is going on" : "no experiment is open");
        }
        FreeState(); // of a trace
        g_work = OPEN;
        FixSeed();
        g_run = {"dcfsim.html", out, WarningsOf(g_settings), "", "", 0};
        g_sums.assign(static_cast<size_t>(g_settings.load_num), {});
        g_balance = MakeBalance(g_settings);
        g_step = 0;
        g_on_progress = TellProgress;
        std::string refusal = PrepareExperiment(g_run);
        refusal = refusal.empty() ? BeginExperiment(g_run) : refusal;
        g_work = refusal.empty() ? RUNNING : OPEN;
        return Refusal(refusal);
    });
}

// Adds the load point run last to the sums of its load.
static void Add(LOAD_SUMS &sums, size_t index, const std::vector<FLOW_TOTALS> &flows)
{
    ++sums.trials;
    sums.offered.resize(flows.size());
    sums.delivered.resize(flows.size());
    sums.delay_us.resize(flows.size());
    sums.delay_num.resize(flows.size());
    for (size_t k = 0; k < flows.size(); ++k) {
        const FLOW_TOTALS &flow = flows[k];
        sums.offered[k] += flow.offered_mbps;
        sums.delivered[k] += flow.delivered_mbps;
        if (flow.window.delivered > 0) {
            sums.delay_us[k] += flow.delay_us;
            ++sums.delay_num[k];
        }
        const auto arrived = static_cast<double>(flow.window.arrived);
        g_balance.arrived[index][k] += arrived;
        g_balance.kept[index][k] += arrived - static_cast<double>(flow.window.delivered) -
                                    static_cast<double>(flow.window.drops);
    }
}

static json PointOf(const LOAD_SUMS &sums, size_t index, const std::vector<FLOW_TOTALS> &flows)
{
    json list = json::array();
    std::vector<double> throughputs;
    double total = 0;
    for (size_t k = 0; k < flows.size(); ++k) {
        throughputs.push_back(sums.delivered[k] / sums.trials);
        total += throughputs.back();
        list.push_back({{"from", flows[k].from},
                        {"to", flows[k].to},
                        {"offered", sums.offered[k] / sums.trials},
                        {"delivered", throughputs.back()},
                        {"delay_us", sums.delay_us[k] / sums.delay_num[k]}, // NaN becomes null
                        {"steady", IsFlowSteady(g_balance, index, k)}});
    }
    return {{"load_kbps", g_settings.load_list[index]},
            {"index", index},
            {"trials", sums.trials},
            {"flows", list},
            {"total", total},
            {"fairness", Fairness(throughputs)}};
}

const char *StepRun()
{
    return Guarded([] {
        if (g_work != RUNNING || g_step == PlannedSteps()) {
            return Refusal("no load point is to be run");
        }
        g_work = OPEN; // unless all goes well
        const auto index = static_cast<size_t>(g_step % g_settings.load_num);
        const int32_t trial = g_step / g_settings.load_num;
        const bool more = StepSweep();
        ++g_step;
        const std::vector<FLOW_TOTALS> flows = LastFlowTotals();
        Add(g_sums[index], index, flows);
        g_work = RUNNING;
        return Answer({{"more", more},
                       {"trial", trial},
                       {"point", PointOf(g_sums[index], index, flows)},
                       {"next", StartText(SaveStart())}});
    });
}

const char *EndRun()
{
    return Guarded([] {
        if (g_work != RUNNING || g_step != PlannedSteps()) {
            return Refusal("no run has reached its end");
        }
        g_work = OPEN;
        return Refusal(EndExperiment(g_run));
    });
}

int32_t BeginTrace()
{
    if (g_work == NOTHING_OPEN || g_work == RUNNING) {
        return 0;
    }
    g_work = OPEN;
    g_observer = nullptr; // of a run that could not begin
    FixSeed();
    FreeState();
    SetPacketSize(g_settings.data_length);
    g_step = 0;
    RandInitUniform();
    if (!AllocateState()) {
        return 0;
    }
    g_work = TRACING;
    return 1;
}

int32_t EnterLoadPoint()
{
    if (g_work < TRACING) {
        return 0;
    }
    g_work = IN_LOAD_POINT;
    SetOfferedLoad(g_settings.load_list[g_step % g_settings.load_num]);
    StartLoadPoint();
    return ++g_step;
}

int32_t EnterLoadPointFrom(int32_t number, const char *start)
{
    LOAD_POINT_START read;
    if (g_work < TRACING || number < 0 || number >= PlannedSteps() || !ReadStart(start, read)) {
        return 0;
    }
    RestoreStart(read);
    g_step = number;
    return EnterLoadPoint();
}

// The tick up to which may be run: 0, which is never ahead, for what is no tick.
static uint64_t End(double until)
{
    if (g_work != IN_LOAD_POINT || !(until > 0.0)) {
        return 0;
    }
    const uint64_t last = g_settings.sim_ticks;
    return until < static_cast<double>(last) ? static_cast<uint64_t>(until) : last;
}

void RunTo(double until)
{
    RunTicks(End(until));
}

const char *WatchTo(double until)
{
    return Guarded([until] {
        if (g_work != IN_LOAD_POINT) {
            return Refusal("no load point has been entered");
        }
        g_trace = Watch(End(until));
        g_answer = TraceJson(g_trace);
        return g_answer.c_str();
    });
}

const char *TraceTable()
{
    char *text = nullptr;
    size_t length = 0;
    FILE *file = open_memstream(&text, &length);
    if (file == nullptr) {
        return "";
    }
    WriteTraceCsv(file, g_trace);
    std::fclose(file);
    g_answer.assign(text, length);
    std::free(text);
    return g_answer.c_str();
}

const char *TellFrame(int32_t frame)
{
    return Guarded([frame] {
        const auto place = static_cast<size_t>(frame);
        return Answer(place < g_trace.frames.size() ? json(FrameStory(g_trace, place))
                                                    : json::array());
    });
}

// Looks at every event: collisions of answers are told by no note.
static double FindCollision(uint64_t until)
{
    constexpr uint64_t STRETCH = 20'000; // ticks; a trace takes memory
    while (g_sim_time < until) {
        const TRACE trace = Watch(std::min(g_sim_time + STRETCH, until));
        for (const TRACE_EVENT &event : trace.events) {
            if (event.kind == EVENT_COLLISION) {
                return static_cast<double>(event.tick);
            }
        }
    }
    return EMPTY;
}

static void Look(NOTE note, int, const PACKET &)
{
    if (note == g_sought && g_found == EMPTY) {
        g_found = static_cast<int64_t>(g_sim_time);
    }
}

// Listens to the notes of a fast run.
static double FindNote(NOTE note, uint64_t until)
{
    constexpr uint64_t STRETCH = 100'000; // ticks that are run in vain, at most
    static const OBSERVER observer = {nullptr, Look, nullptr};
    g_sought = note;
    g_found = EMPTY;
    g_observer = &observer;
    while (g_sim_time < until && g_found == EMPTY) {
        RunTicks(std::min(g_sim_time + STRETCH, until));
    }
    g_observer = nullptr;
    return static_cast<double>(g_found);
}

double FindNext(int32_t sought, double until)
{
    if (sought == SOUGHT_COLLISION) {
        return FindCollision(End(until));
    }
    return FindNote(sought == SOUGHT_DROP ? NOTE_DROP : NOTE_TIMEOUT, End(until));
}

double ClockTick()
{
    return static_cast<double>(g_sim_time);
}
