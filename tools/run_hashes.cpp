#include "tools/run_hashes.h"

#include <nlohmann/json.hpp>

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
