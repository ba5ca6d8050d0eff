#include "tools/replacement.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace fs = std::filesystem;

REPLACEMENT::REPLACEMENT(std::string at)
    : path(std::move(at)), partial(path + "." + std::to_string(getpid()))
{
    std::error_code none;
    const fs::file_status status = fs::status(path, none);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        error = path + ": is no plain file; name another one";
        return;
    }
    file = std::fopen(partial.c_str(), "wb");
    if (file == nullptr) {
        error = path + ": cannot be written: " + std::strerror(errno);
    }
}

REPLACEMENT::~REPLACEMENT()
{
    if (file != nullptr) {
        std::fclose(file);
        std::remove(partial.c_str());
    }
}

const std::string &REPLACEMENT::Commit(bool is_written)
{
    if (file == nullptr) {
        return error;
    }
    is_written = is_written && std::fflush(file) == 0 && fsync(fileno(file)) == 0;
    const int why = errno;
    is_written = std::fclose(file) == 0 && is_written;
    file = nullptr;
    if (!is_written) {
        error = path + ": cannot be written: " + std::strerror(why);
    } else if (std::rename(partial.c_str(), path.c_str()) != 0) {
        error = path + ": cannot be put in place: " + std::strerror(errno);
    }
    if (!error.empty()) {
        std::remove(partial.c_str());
    }
    return error;
}
