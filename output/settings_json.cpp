#include "output/settings_json.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>

#include "driver/constants.h"
#include "output/print.h"

// Collects the members of the object; lists stand in one line each.
struct MEMBERS {
    std::string lead; // what begins a line
    std::string text;

    void Add(const char *key, const std::string &value)
    {
        text += text.empty() ? "{" : ",";
        text.append(lead).append("    \"").append(key).append("\": ").append(value);
    }
};

__attribute__((format(printf, 1, 2))) static std::string Format(const char *format, ...)
{
    char text[128]; // longer than any value here
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

// The shortest text that reads back as the same number.
static std::string Real(double value)
{
    char text[REAL_BYTES];
    return {text, WriteReal(text, value)};
}

// `count` values, each made into text by `format` from its index.
template <class FORMAT> static std::string List(int32_t count, FORMAT format)
{
    std::string text;
    for (int32_t i = 0; i < count; ++i) {
        text.append(i == 0 ? "[" : ", ").append(format(i));
    }
    return text.append("]");
}

static std::string Places(const SETTINGS &settings)
{
    if (settings.layout == LAYOUT_DESIGN || settings.layout == LAYOUT_LINE) {
        return settings.layout == LAYOUT_DESIGN ? "\"pairs\"" : "\"chain\"";
    }
    return List(NODE_NUM, [&settings](int32_t i) {
        const POSITION &position = settings.position_list[i];
        return Format("[%s, %s]", Real(position.x).c_str(), Real(position.y).c_str());
    });
}

static std::string Routes(const SETTINGS &settings)
{
    switch (settings.routing) {
    case ROUTING_DESIGN:
        return "\"pairs\"";
    case ROUTING_LINE:
        return "\"chain\"";
    case ROUTING_NEIGHBOURS:
        return "\"neighbours\"";
    default:
        break;
    }
    return settings.route_num == 0 ? "[]" : List(settings.route_num, [&settings](int32_t i) {
        const ROUTE &route = settings.route_list[i];
        return Format("[%d, %d, %d]", route.station, route.destination, route.next);
    });
}

static std::string Flows(const SETTINGS &settings)
{
    return List(settings.flow_num, [&settings](int32_t i) {
        const FLOW &flow = settings.flow_list[i];
        return Format("{\"from\": %d, \"to\": %d, \"weight\": %d}", flow.from, flow.to,
                      flow.weight);
    });
}

std::string JsonText(const std::string &text)
{
    std::string quoted = "\"";
    for (const char letter : text) {
        quoted += letter == '"' || letter == '\\' ? "\\" : "";
        quoted += letter;
    }
    return quoted += '"';
}

std::string SettingsAsJson(const SETTINGS &settings, int indent)
{
    MEMBERS members{std::string("\n").append(static_cast<size_t>(indent), ' '), ""};
    if (settings.title[0] != '\0') {
        members.Add("title", JsonText(settings.title));
    }
    if (settings.seed != SEED_FROM_CLOCK) {
        members.Add("seed", std::to_string(settings.seed));
    }
    members.Add("generator", Format("\"%s\"", GENERATOR_NAMES[settings.generator]));
    members.Add("trials", std::to_string(settings.trial_num));
    members.Add("loads_kbps", List(settings.load_num, [&settings](int32_t i) {
                    return std::to_string(settings.load_list[i]);
                }));
    members.Add("data_bytes", std::to_string(settings.data_length));
    members.Add("ticks", std::to_string(settings.sim_ticks));
    members.Add("window",
                Format("[%" PRIu64 ", %" PRIu64 "]", settings.window_begin, settings.window_end));
    members.Add("hop_age_limit", std::to_string(settings.hop_age_limit));
    members.Add("queue_limit", std::to_string(settings.queue_limit));
    members.Add("log_limit", std::to_string(settings.log_limit));
    members.Add("rts_threshold", std::to_string(settings.rts_threshold));
    members.Add("transmission_range_m", Real(settings.transmission_range_m));
    members.Add("carrier_sense_range_m", Real(settings.carrier_sense_range_m));
    members.Add("stations_m", Places(settings));
    members.Add("routes", Routes(settings));
    members.Add("flows", Flows(settings));
    return members.text + members.lead + "}";
}
