#include "tools/experiment_keys.h"

#include <cmath>
#include <cstdint>
#include <iterator>
#include <string>
#include <type_traits>

#include "driver/state.h"
#include "tools/experiment_form.h"

using nlohmann::json;

constexpr int64_t LARGEST = INT64_MAX; // of the numbers without a limit of their own

static int64_t Integer(const json &value, const std::string &path, int64_t low, int64_t high)
{
    const std::string allowed = "an integer " + std::to_string(low) + " .. " +
                                std::to_string(high) + ", without fraction and exponent";
    if (!value.is_number_integer() ||
        (value.is_number_unsigned() && value.get<uint64_t>() > static_cast<uint64_t>(LARGEST))) {
        RefuseValue(path, value, allowed);
    }
    const auto number = value.get<int64_t>();
    if (number < low || number > high) {
        RefuseValue(path, value, allowed);
    }
    return number;
}

static int32_t Integer32(const json &value, const std::string &path, int32_t low, int32_t high)
{
    return static_cast<int32_t>(Integer(value, path, low, high));
}

static double Real(const json &value, const std::string &path, double low)
{
    const double number = value.is_number() ? value.get<double>() : NAN;
    if (!std::isfinite(number) || number < low) {
        RefuseValue(path, value, low == 0.0 ? "a finite number, 0 or more" : "a finite number");
    }
    return number + 0.0; // -0.0 becomes 0.0: it would be printed as -0, which reads back as 0
}

// A list of `least` to `most` values, or else a message that says `allowed`.
static const json &List(const json &value, const std::string &path, size_t least, size_t most,
                        const std::string &allowed)
{
    if (!value.is_array()) {
        RefuseValue(path, value, allowed);
    }
    if (value.size() < least || value.size() > most) {
        Refuse(path, "has " + std::to_string(value.size()) + " entries", allowed);
    }
    return value;
}

static void ReadLoads(const json &value, const std::string &path, SETTINGS &settings)
{
    constexpr int32_t LARGEST_LOAD = 10'000'000;
    List(value, path, 1, LOAD_LIMIT, "a list of 1 .. 1000 integers, ascending");
    settings.load_num = 0;
    for (const json &entry : value) {
        const std::string at = At(path, static_cast<size_t>(settings.load_num));
        const int32_t kbps = Integer32(entry, at, 0, LARGEST_LOAD);
        if (settings.load_num > 0 && kbps <= settings.load_list[settings.load_num - 1]) {
            RefuseValue(at, entry, "more than the load before it");
        }
        settings.load_list[settings.load_num] = kbps;
        ++settings.load_num;
    }
}

static void ReadWindow(const json &value, const std::string &path, SETTINGS &settings)
{
    List(value, path, 2, 2, "two integers, the first and the last tick");
    const int64_t first = Integer(value[0], At(path, 0), 0, LARGEST);
    const int64_t last = Integer(value[1], At(path, 1), 0, LARGEST);
    if (first > last) {
        RefuseValue(path, value, "a first tick that is not behind the last");
    }
    settings.window_begin = static_cast<uint64_t>(first);
    settings.window_end = static_cast<uint64_t>(last);
}

static void ReadPlaces(const json &value, const std::string &path, SETTINGS &settings)
{
    const std::string allowed = "\"pairs\", \"chain\" or a list of 10 pairs [x, y]";
    if (value == "pairs" || value == "chain") {
        settings.layout = value == "pairs" ? LAYOUT_DESIGN : LAYOUT_LINE;
        return;
    }
    List(value, path, NODE_NUM, NODE_NUM, allowed);
    settings.layout = LAYOUT_EXPLICIT;
    for (size_t i = 0; i < value.size(); ++i) {
        const json &place = List(value[i], At(path, i), 2, 2, "a pair [x, y]");
        settings.position_list[i] = {Real(place[0], At(At(path, i), 0), -HUGE_VAL),
                                     Real(place[1], At(At(path, i), 1), -HUGE_VAL)};
    }
}

static int32_t Station(const json &value, const std::string &path, int32_t other)
{
    const int32_t station = Integer32(value, path, 0, NODE_NUM - 1);
    if (station == other) {
        RefuseValue(path, value, "another station than " + std::to_string(other));
    }
    return station;
}

static void ReadRoutes(const json &value, const std::string &path, SETTINGS &settings)
{
    if (value == "pairs" || value == "chain" || value == "neighbours") {
        settings.routing = value == "pairs"   ? ROUTING_DESIGN
                           : value == "chain" ? ROUTING_LINE
                                              : ROUTING_NEIGHBOURS;
        return;
    }
    List(value, path, 0, ROUTE_LIMIT,
         "\"pairs\", \"chain\", \"neighbours\" or a list of at most 100 rows "
         "[station, destination, next hop]");
    settings.routing = ROUTING_LIST;
    int rows[NODE_NUM] = {};
    for (size_t i = 0; i < value.size(); ++i) {
        const std::string at = At(path, i);
        const json &row = List(value[i], at, 3, 3, "a row [station, destination, next hop]");
        ROUTE &route = settings.route_list[i];
        route.station = Station(row[0], At(at, 0), EMPTY);
        route.destination = Station(row[1], At(at, 1), route.station);
        route.next = Station(row[2], At(at, 2), route.station);
        ++rows[route.station];
        if (rows[route.station] > NODE_NUM) {
            Refuse(at, "is row 11 of station " + std::to_string(route.station),
                   "at most 10 rows a station");
        }
        ++settings.route_num;
    }
}

static void ReadFlows(const json &value, const std::string &path, SETTINGS &settings)
{
    constexpr int32_t LARGEST_WEIGHT = 100;
    List(value, path, 1, FLOW_LIMIT, "a list of 1 .. 100 objects {\"from\": s, \"to\": d}");
    settings.flow_num = 0;
    int32_t weights = 0;
    for (const json &entry : value) {
        const std::string at = At(path, static_cast<size_t>(settings.flow_num));
        if (!entry.is_object()) {
            RefuseValue(at, entry, "an object {\"from\": s, \"to\": d, \"weight\": w}");
        }
        for (const auto &[key, member] : entry.items()) {
            if (key != "from" && key != "to" && key != "weight") {
                Refuse(at, "unknown key " + Shown(json(key)), "from, to and weight");
            }
        }
        if (!entry.contains("from") || !entry.contains("to")) {
            RefuseValue(at, entry, "an object with \"from\" and \"to\"");
        }
        FLOW &flow = settings.flow_list[settings.flow_num];
        flow.from = Station(entry["from"], at + ".from", EMPTY);
        flow.to = Station(entry["to"], at + ".to", flow.from);
        flow.weight = entry.contains("weight")
                          ? Integer32(entry["weight"], at + ".weight", 1, LARGEST_WEIGHT)
                          : 1;
        weights += flow.weight;
        ++settings.flow_num;
    }
    if (weights > WEIGHT_LIMIT) {
        Refuse(path, "the weights add up to " + std::to_string(weights), "at most 1000");
    }
}

// The keys of the file and what reads each.
using READER = void (*)(const json &value, const std::string &path, SETTINGS &settings);

struct KEY {
    const char *name;
    READER read;
};

template <auto FIELD, int64_t LOW, int64_t HIGH>
static void ReadInteger(const json &value, const std::string &path, SETTINGS &settings)
{
    using NUMBER = std::remove_reference_t<decltype(settings.*FIELD)>;
    settings.*FIELD = static_cast<NUMBER>(Integer(value, path, LOW, HIGH));
}

template <auto FIELD>
static void ReadRange(const json &value, const std::string &path, SETTINGS &settings)
{
    settings.*FIELD = Real(value, path, 0.0);
}

static void ReadGenerator(const json &value, const std::string &path, SETTINGS &settings)
{
    const std::string name = value.is_string() ? value.get<std::string>() : "";
    std::string allowed;
    int place = 0;
    for (const char *known : GENERATOR_NAMES) {
        if (name == known) {
            settings.generator = static_cast<GENERATOR>(place);
            return;
        }
        allowed.append(place == 0 ? "\"" : " or \"").append(known).append("\"");
        ++place;
    }
    RefuseValue(path, value, allowed);
}

static void ReadSchema(const json &value, const std::string &path, SETTINGS &)
{
    if (!value.is_string()) {
        RefuseValue(path, value, "a string");
    }
}

// Refuses control characters, those of one byte and those of two from C2 80 to C2 9F, so that the
// text is one line wherever it is shown.
static void ReadTitle(const json &value, const std::string &path, SETTINGS &settings)
{
    constexpr size_t LONGEST = TITLE_LIMIT;
    const std::string allowed = "a text of 1 .. 100 characters without control characters";
    const std::string text = value.is_string() ? value.get<std::string>() : "";
    size_t characters = 0;
    unsigned char before = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool begins = (byte & 0xC0) != 0x80;
        if (byte < 0x20 || byte == 0x7F || (before == 0xC2 && byte < 0xA0)) {
            RefuseValue(path, value, allowed);
        }
        characters += begins ? 1 : 0;
        before = byte;
    }
    if (characters == 0 || characters > LONGEST) {
        RefuseValue(path, value, allowed);
    }
    text.copy(settings.title, sizeof settings.title - 1);
    settings.title[text.size()] = '\0';
}

// clang-format off
static const KEY KEYS[] = {
    {"$schema",               ReadSchema},
    {"title",                 ReadTitle},
    {"seed",                  ReadInteger<&SETTINGS::seed, 0, LARGEST>},
    {"generator",             ReadGenerator},
    {"trials",                ReadInteger<&SETTINGS::trial_num, 1, 1000>},
    {"loads_kbps",            ReadLoads},
    {"data_bytes",            ReadInteger<&SETTINGS::data_length, 1, 65507>},
    {"ticks",                 ReadInteger<&SETTINGS::sim_ticks, 1, 2'000'000'000>},
    {"window",                ReadWindow},
    {"hop_age_limit",         ReadInteger<&SETTINGS::hop_age_limit, 0, LARGEST>},
    {"queue_limit",           ReadInteger<&SETTINGS::queue_limit, 1, QUEUE_LIMIT>},
    {"log_limit",             ReadInteger<&SETTINGS::log_limit, 1, QUEUE_LIMIT>},
    {"rts_threshold",         ReadInteger<&SETTINGS::rts_threshold, 0, LARGEST>},
    {"transmission_range_m",  ReadRange<&SETTINGS::transmission_range_m>},
    {"carrier_sense_range_m", ReadRange<&SETTINGS::carrier_sense_range_m>},
    {"stations_m",            ReadPlaces},
    {"routes",                ReadRoutes},
    {"flows",                 ReadFlows},
};
// clang-format on

static std::string KeyNames()
{
    std::string names;
    for (const KEY &key : KEYS) {
        names += std::string(names.empty() ? "" : ", ") + key.name;
    }
    return names;
}

void ReadKeys(const json &experiment, SETTINGS &settings)
{
    for (const auto &[name, value] : experiment.items()) {
        const KEY *known = nullptr;
        for (const KEY &key : KEYS) {
            known = name == key.name ? &key : known;
        }
        if (known == nullptr) {
            Refuse(Shown(json(name)), "unknown key", KeyNames());
        }
        known->read(value, name, settings);
    }
}
