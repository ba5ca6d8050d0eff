#include "tools/plain_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static std::string LimitText(size_t limit)
{
    constexpr size_t MEBIBYTE = 1 << 20;
    return limit % MEBIBYTE == 0 ? std::to_string(limit / MEBIBYTE) + " MiB"
                                 : std::to_string(limit) + " bytes";
}

// Reads to the end of an open file, or to one byte beyond the limit.
static std::string ReadAll(int file, size_t limit, std::string &text)
{
    constexpr size_t PART = 1 << 16;
    size_t size = 0;
    ssize_t got = 1;
    while (got != 0 && size <= limit) {
        text.resize(std::min(size + PART, limit + 1));
        got = read(file, text.data() + size, text.size() - size);
        if (got < 0 && errno != EINTR) {
            return std::string("cannot be read: ") + std::strerror(errno);
        }
        size += got > 0 ? static_cast<size_t>(got) : 0;
    }
    text.resize(size);
    return size > limit ? "is longer than " + LimitText(limit) + "; allowed: at most that" : "";
}

std::string ReadPlainFile(const std::string &path, size_t limit, std::string &text)
{
    // Without waiting: a FIFO that nobody writes to would never open.
    const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat status {
    };
    std::string why;
    if (file < 0 || fstat(file, &status) != 0) {
        why = std::string("cannot be read: ") + std::strerror(errno);
    } else if (!S_ISREG(status.st_mode)) {
        why = "is no plain file";
    } else {
        why = ReadAll(file, limit, text);
    }
    if (file >= 0) {
        close(file);
    }
    return why;
}

std::string OneLine(std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7f; }, '?');
    return text;
}
