#include "tools/run_hashes.h"

#include <nlohmann/json.hpp>

#include "tools/hashes.h"
#include "tools/plain_file.h"

std::string HashResult(const std::string &path)
{
    constexpr size_t LARGEST_FILE = 1 << 30;
    static const std::string clock_line = "\nsimulation run time : ";
    std::string text;
    if (!ReadPlainFile(path, LARGEST_FILE, text).empty()) {
        return "";
    }
    const size_t begin = text.find(clock_line);
    if (begin != std::string::npos) {
        text.erase(begin + 1, text.find('\n', begin + 1) - begin);
    }
    return HashText(text);
}

std::string HashMember(const std::map<std::string, std::string> &hashes, const std::string &out)
{
    std::string text;
    for (const auto &[path, hash] : hashes) {
        const std::string name = path.starts_with(out + "/") ? path.substr(out.size() + 1) : path;
        text += text.empty() ? "    \"sha256\": {\n" : ",\n";
        const auto handler = nlohmann::json::error_handler_t::replace;
        text +=
            "        " + nlohmann::json(name).dump(-1, ' ', true, handler) + ": \"" + hash + "\"";
    }
    return text.empty() ? "" : text + "\n    },\n";
}
