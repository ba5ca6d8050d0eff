#include "tools/json_file.h"

#include <algorithm>
#include <stdexcept>

#include "tools/plain_file.h"

using nlohmann::json;

// Reads a text; throws std::runtime_error with what is wrong with it. Copies and prints of a value
// call themselves for what is nested in it, so its depth is limited while it is read.
static json ParseObject(const std::string &text)
{
    constexpr int DEEPEST = 32;
    constexpr size_t LONGEST_MESSAGE = 200; // the parser quotes what it has read last
    const auto limit = [](int depth, json::parse_event_t event, const json &) {
        const bool begins =
            event == json::parse_event_t::object_start || event == json::parse_event_t::array_start;
        if (begins && depth >= DEEPEST) {
            throw std::runtime_error("values nested deeper than " + std::to_string(DEEPEST) +
                                     "; allowed: at most that");
        }
        return true;
    };
    json read;
    try {
        read = json::parse(text, limit);
    } catch (const json::exception &error) {
        // "[json.exception.parse_error.101] parse error at line 1, column 2: ..."
        std::string message = error.what();
        message.erase(0, std::min(message.find("line "), message.size()));
        throw std::runtime_error("not JSON, " + OneLine(message.substr(0, LONGEST_MESSAGE)));
    }
    if (!read.is_object()) {
        throw std::runtime_error("holds " + std::string(read.type_name()) +
                                 ", expected an object {...}");
    }
    return read;
}

std::optional<json> ReadJson(const std::string &path, std::string *why)
{
    constexpr size_t LARGEST = 16 << 20; // bytes
    std::string text;
    std::string error = ReadPlainFile(path, LARGEST, text);
    std::optional<json> read;
    try {
        if (error.empty()) {
            read = ParseObject(text);
        }
    } catch (const std::runtime_error &exception) {
        error = exception.what();
    }
    if (why != nullptr) {
        *why = error;
    }
    return read;
}
