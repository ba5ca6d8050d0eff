#include "tools/experiment_file.h"

#include <string>

#include <nlohmann/json.hpp>

#include "driver/state.h"
#include "tools/experiment_form.h"
#include "tools/experiment_keys.h"
#include "tools/experiment_network.h"
#include "tools/plain_file.h"
#include "topology/routing.h"

using nlohmann::json;

static void CheckWindow(const json &experiment, const SETTINGS &settings)
{
    if (settings.window_begin < settings.sim_ticks) {
        return;
    }
    const std::string ticks = "ticks, " + std::to_string(settings.sim_ticks);
    if (experiment.contains("window")) {
        RefuseValue("window[0]", experiment["window"][0], "a first tick below " + ticks);
    }
    Refuse("window", "is not given, and would begin at " + std::to_string(settings.window_begin),
           "a window of its own for " + ticks);
}

// Follows the routes of every flow in the network of `g_settings`.
static void CheckRoutes()
{
    for (int32_t k = 0; k < g_settings.flow_num; ++k) {
        const FLOW &flow = g_settings.flow_list[k];
        int station = flow.from;
        for (int hops = 0; station != flow.to; ++hops) {
            const int next = NextHop(station, flow.to);
            if (next == EMPTY || hops == NODE_NUM) {
                Refuse(At("flows", static_cast<size_t>(k)),
                       "from " + std::to_string(flow.from) + " to " + std::to_string(flow.to) +
                           (next == EMPTY ? ": station " + std::to_string(station) +
                                                " has no route to " + std::to_string(flow.to)
                                          : ": the routes lead in a circle"),
                       "flows that the routes lead to their ends");
            }
            station = next;
        }
    }
}

static void InterpretKeys(const json &experiment, SETTINGS &settings)
{
    if (!experiment.is_object()) {
        RefuseValue("the file", experiment, "one object {...}");
    }
    ReadKeys(experiment, settings);
    CheckWindow(experiment, settings);
    settings.window_ticks = WindowTicksRun(settings);
}

static void Interpret(const json &experiment, SETTINGS &settings)
{
    InterpretKeys(experiment, settings);
    if (!WithNetwork(settings, CheckRoutes)) {
        throw BAD_EXPERIMENT("memory is short");
    }
}

static void Read(const std::string &path, SETTINGS &settings)
{
    std::string text;
    const std::string why = ReadPlainFile(path, EXPERIMENT_BYTES, text);
    if (!why.empty()) {
        throw BAD_EXPERIMENT(why);
    }
    // The parser would pass over the one and take the other for the end.
    if (text.starts_with("\xEF\xBB\xBF")) {
        throw BAD_EXPERIMENT("begins with a byte order mark; allowed: UTF-8 without one");
    }
    const size_t zero = text.find('\0');
    if (zero != std::string::npos) {
        throw BAD_EXPERIMENT("byte " + std::to_string(zero) + " is zero; allowed: text alone");
    }
    CheckForm(text);
    Interpret(json::parse(text), settings);
}

std::string ReadExperiment(const std::string &path, SETTINGS &settings)
{
    settings = {};
    try {
        Read(path, settings);
    } catch (const BAD_EXPERIMENT &bad) {
        return OneLine(path + ": " + bad.what());
    }
    return "";
}

std::string InterpretExperiment(const json &object, SETTINGS &settings)
{
    settings = {};
    try {
        InterpretKeys(object, settings);
    } catch (const BAD_EXPERIMENT &bad) {
        return OneLine(bad.what());
    }
    return "";
}
