#include "tools/replace_file.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

// Opens a new file beside `path` whose name no other process takes, and tells the name. Returns its
// descriptor, or -1.
static int OpenPartial(const std::string &path, std::string &partial)
{
    const size_t begin = path.rfind('/') + 1; // 0 if there is none
    const std::string head =
        path.substr(0, begin) + "." + path.substr(begin) + ".partial-" + std::to_string(getpid());
    // A process of the same number, killed or on another machine, may have left one.
    for (int i = 0;; ++i) {
        partial = head + (i == 0 ? "" : "-" + std::to_string(i));
        const int file = open(partial.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (file >= 0 || errno != EEXIST) {
            return file;
        }
    }
}

// Brings a new name in a directory to the disk. Some file systems cannot; the file is there anyway.
static void SyncDirectory(const std::string &path)
{
    const size_t end = path.rfind('/');
    const std::string dir = end == std::string::npos ? "." : path.substr(0, end + 1);
    const int directory = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        fsync(directory);
        close(directory);
    }
}

// Gives the file `partial` the name `path`, or if `is_new` and the name is taken, removes it.
static bool Place(const std::string &partial, const std::string &path, bool is_new)
{
    if (!is_new) {
        return std::rename(partial.c_str(), path.c_str()) == 0;
    }
    const bool is_linked = link(partial.c_str(), path.c_str()) == 0;
    if (!is_linked && errno != EEXIST) {
        // A file system without links: two that come at the same moment are not told apart.
        return access(path.c_str(), F_OK) != 0 && std::rename(partial.c_str(), path.c_str()) == 0;
    }
    std::remove(partial.c_str());
    return true;
}

// While it lives, signals that would end the process wait: none leaves half a file behind.
class SIGNAL_DELAY
{
  public:
    SIGNAL_DELAY()
    {
        sigset_t ending;
        sigemptyset(&ending);
        for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
            sigaddset(&ending, signal);
        }
        sigprocmask(SIG_BLOCK, &ending, &before_);
    }
    ~SIGNAL_DELAY()
    {
        sigprocmask(SIG_SETMASK, &before_, nullptr);
    }
    SIGNAL_DELAY(const SIGNAL_DELAY &) = delete;
    SIGNAL_DELAY &operator=(const SIGNAL_DELAY &) = delete;

  private:
    sigset_t before_{};
};

REPLACEMENT::REPLACEMENT(std::string at) : path_(std::move(at))
{
    std::error_code none;
    const fs::file_status status = fs::status(path_, none);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        error_ = path_ + ": is no plain file; name another one";
        return;
    }
    const int file = OpenPartial(path_, partial_);
    file_ = file >= 0 ? fdopen(file, "wb") : nullptr;
    if (file_ == nullptr) {
        Fail(errno);
    }
}

REPLACEMENT::~REPLACEMENT()
{
    if (file_ != nullptr) {
        std::fclose(file_);
        std::remove(partial_.c_str());
    }
}

void REPLACEMENT::Fail(int error)
{
    error_ = path_ + ": cannot be written: " + std::strerror(error) +
             "; make room, or let this account write there";
}

const std::string &REPLACEMENT::Commit(bool is_written, bool is_new)
{
    if (file_ == nullptr) {
        return error_;
    }
    const SIGNAL_DELAY delay;
    is_written = is_written && std::fflush(file_) == 0 && fsync(fileno(file_)) == 0;
    int error = errno;
    if (std::fclose(file_) != 0 && is_written) {
        is_written = false;
        error = errno;
    }
    file_ = nullptr;
    if (is_written && !Place(partial_, path_, is_new)) {
        is_written = false;
        error = errno;
    }
    if (is_written) {
        SyncDirectory(path_);
    } else {
        Fail(error);
        std::remove(partial_.c_str());
    }
    return error_;
}

static std::string Write(const std::string &path, const std::string &text, bool is_new)
{
    const SIGNAL_DELAY delay;
    REPLACEMENT file(path);
    const bool is_written = file.File() != nullptr &&
                            std::fwrite(text.data(), 1, text.size(), file.File()) == text.size();
    return file.Commit(is_written, is_new);
}

std::string ReplaceFile(const std::string &path, const std::string &text)
{
    return Write(path, text, false);
}

std::string CreateFile(const std::string &path, const std::string &text)
{
    return Write(path, text, true);
}
