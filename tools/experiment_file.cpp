// Two passes: the first looks at the form alone (a key that stands twice, nesting), which the tree
// that the second one works on no longer shows.
#include "tools/experiment_file.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "driver/state.h"
#include "topology/placement.h"
#include "topology/routing.h"

using nlohmann::json;

constexpr int64_t LARGEST = INT64_MAX; // of the numbers without a limit of their own

// What is wrong with the file, less its name.
struct BAD_EXPERIMENT : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A text cut to a readable length.
static std::string Cut(std::string text, size_t longest = 60)
{
    if (text.size() > longest) {
        text.resize(longest);
        text += "...";
    }
    return text;
}

// What stands in a place.
static std::string Shown(const json &value)
{
    return Cut(value.dump(-1, ' ', true));
}

[[noreturn]] static void Refuse(const std::string &path, const std::string &stands,
                                const std::string &allowed)
{
    throw BAD_EXPERIMENT(path + ": " + stands + "; allowed: " + allowed);
}

[[noreturn]] static void RefuseValue(const std::string &path, const json &value,
                                     const std::string &allowed)
{
    Refuse(path, "stands at " + Shown(value), allowed);
}

static std::string At(const std::string &path, size_t index)
{
    return path + "[" + std::to_string(index) + "]";
}

// The first pass.
class FORM_CHECK : public nlohmann::json_sax<json>
{
  public:
    bool start_object(size_t) override
    {
        Enter();
        return true;
    }
    bool key(string_t &name) override
    {
        LEVEL &level = levels.back();
        level.key = name;
        if (!level.keys.insert(name).second) {
            Refuse(Path(), "this key stands twice", "once");
        }
        return true;
    }
    bool end_object() override
    {
        levels.pop_back();
        return true;
    }
    bool start_array(size_t) override
    {
        Enter();
        return true;
    }
    bool end_array() override
    {
        levels.pop_back();
        return true;
    }
    bool null() override
    {
        return Count();
    }
    bool boolean(bool) override
    {
        return Count();
    }
    bool number_integer(number_integer_t) override
    {
        return Count();
    }
    bool number_unsigned(number_unsigned_t) override
    {
        return Count();
    }
    bool number_float(number_float_t, const string_t &) override
    {
        return Count();
    }
    bool string(string_t &) override
    {
        return Count();
    }
    bool binary(binary_t &) override
    {
        return Count();
    }
    bool parse_error(size_t position, const std::string &token,
                     const nlohmann::detail::exception &error) override
    {
        constexpr int NUMBER_OVERFLOW = 406;
        constexpr size_t LONGEST = 200; // the parser quotes what it has read last
        if (error.id == NUMBER_OVERFLOW) {
            Count();
            Refuse(Path(), "stands at " + Cut(token), "a number that is finite as a double");
        }
        // "[json.exception.parse_error.101] parse error at line 1, column 2: ..."
        std::string text = error.what();
        text.erase(0, std::min(text.find("line "), text.size()));
        std::ranges::replace_if(
            text, [](char c) { return (c & 0x80) != 0; }, '?');
        throw BAD_EXPERIMENT(
            Path() + ": not JSON, " +
            (text.empty() ? "byte " + std::to_string(position) : Cut(text, LONGEST)));
    }

  private:
    struct LEVEL {
        std::string key; // of an object, read last
        std::set<std::string> keys;
        size_t values; // of a list, begun so far
    };
    std::vector<LEVEL> levels;

    // Counts the value that begins here; true, as the parser is to go on.
    bool Count()
    {
        if (!levels.empty()) {
            ++levels.back().values;
        }
        return true;
    }

    void Enter()
    {
        constexpr size_t DEEPEST = 3; // a place in the list of places
        Count();
        if (levels.size() == DEEPEST) {
            Refuse(Path(), "a list or object stands there, nested too deep", "3 levels at most");
        }
        levels.push_back({"", {}, 0});
    }

    [[nodiscard]] std::string Path() const
    {
        std::string path;
        for (const LEVEL &level : levels) {
            if (!level.keys.empty()) {
                path.append(path.empty() ? "" : ".").append(Plain(level.key));
            } else if (level.values > 0) {
                path = At(path, level.values - 1);
            }
        }
        return path.empty() ? "the file" : path;
    }

    // A key as it may stand in a message.
    static std::string Plain(const std::string &key)
    {
        const std::string shown = Shown(json(key));
        return shown.substr(1, shown.size() - 2);
    }
};

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

static void ReadSchema(const json &value, const std::string &path, SETTINGS &)
{
    if (!value.is_string()) {
        RefuseValue(path, value, "a string");
    }
}

// clang-format off
static const KEY KEYS[] = {
    {"$schema",               ReadSchema},
    {"seed",                  ReadInteger<&SETTINGS::seed, 0, LARGEST>},
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
    if (!AllocateState()) {
        throw BAD_EXPERIMENT("memory is short");
    }
    for (int i = 0; i < NODE_NUM; ++i) {
        std::memset(node[i].table, EMPTY, sizeof node[i].table);
    }
    PositionAllNode();
    MakeTable();
    for (int32_t k = 0; k < g_settings.flow_num; ++k) {
        const FLOW &flow = g_settings.flow_list[k];
        int station = flow.from;
        for (int hops = 0; station != flow.to; ++hops) {
            const int next = NextHop(station, flow.to);
            if (next == EMPTY || hops == NODE_NUM) {
                FreeState();
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
    FreeState();
}

static void Interpret(const json &experiment, SETTINGS &settings)
{
    if (!experiment.is_object()) {
        RefuseValue("the file", experiment, "one object {...}");
    }
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
    CheckWindow(experiment, settings);
    settings.window_ticks = WindowTicksRun(settings);
    const SETTINGS before = g_settings;
    g_settings = settings;
    try {
        CheckRoutes();
    } catch (...) {
        g_settings = before;
        throw;
    }
    g_settings = before;
}

// The bytes of a plain file.
static std::string ReadPlainFile(const std::string &path)
{
    // Without waiting: a FIFO that nobody writes to would never open.
    const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat status {
    };
    if (file < 0 || fstat(file, &status) != 0) {
        const std::string why = std::strerror(errno);
        if (file >= 0) {
            close(file);
        }
        throw BAD_EXPERIMENT("cannot be read: " + why);
    }
    std::string text(EXPERIMENT_BYTES + 1, '\0');
    size_t size = 0;
    ssize_t got = S_ISREG(status.st_mode) ? 1 : 0;
    while (got > 0 && size < text.size()) {
        got = read(file, text.data() + size, text.size() - size);
        size += got > 0 ? static_cast<size_t>(got) : 0;
    }
    const std::string why = got < 0 ? std::strerror(errno) : "";
    close(file);
    if (!S_ISREG(status.st_mode)) {
        throw BAD_EXPERIMENT("is no plain file");
    }
    if (!why.empty()) {
        throw BAD_EXPERIMENT("cannot be read: " + why);
    }
    if (size > EXPERIMENT_BYTES) {
        throw BAD_EXPERIMENT("is longer than 1 MiB; allowed: at most that");
    }
    text.resize(size);
    return text;
}

static void Read(const std::string &path, SETTINGS &settings)
{
    const std::string text = ReadPlainFile(path);
    // The parser would pass over the one and take the other for the end.
    if (text.starts_with("\xEF\xBB\xBF")) {
        throw BAD_EXPERIMENT("begins with a byte order mark; allowed: UTF-8 without one");
    }
    const size_t zero = text.find('\0');
    if (zero != std::string::npos) {
        throw BAD_EXPERIMENT("byte " + std::to_string(zero) + " is zero; allowed: text alone");
    }
    FORM_CHECK form;
    json::sax_parse(text, &form);
    Interpret(json::parse(text), settings);
}

// A path as it may stand in a message of one line.
static std::string OneLine(std::string text)
{
    for (char &c : text) {
        c = static_cast<unsigned char>(c) < ' ' ? '?' : c;
    }
    return text;
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
