#include "tools/json_file.h"

#include <cstdio>
#include <fstream>

#include <unistd.h>

using nlohmann::json;

bool WriteDurably(const std::string &path, const std::string &text)
{
    FILE *file = std::fopen(path.c_str(), "w");
    if (file == nullptr) {
        return false;
    }
    const bool is_written = std::fwrite(text.data(), 1, text.size(), file) == text.size() &&
                            std::fflush(file) == 0 && fsync(fileno(file)) == 0;
    return std::fclose(file) == 0 && is_written;
}

std::optional<json> ReadJson(const std::string &path)
{
    std::ifstream file(path);
    json read = json::parse(file, nullptr, false);
    return read.is_object() ? std::optional<json>(read) : std::nullopt;
}
