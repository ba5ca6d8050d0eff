#include "tools/resources.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

constexpr int64_t MIB = 1 << 20;
constexpr int64_t MEMORY_BYTES = 128 * MIB;  // of a replication; its queues fill to 92 MB
constexpr int64_t USUAL_POINTS = 72;         // of loads and trials, for which that is enough
constexpr int64_t POINT_BYTES = 5 * MIB / 4; // of memory, to check the results of one more
constexpr int64_t DISK_BYTES = 3 * MIB;      // of a replication, 2.4 MB and some

// The number behind `key` at the beginning of a line, or the first number if the key is empty.
static std::optional<int64_t> ReadNumber(const std::string &path, const std::string &key)
{
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string word = key;
        int64_t number = 0;
        if ((key.empty() || words >> word) && word == key && words >> number) {
            return number;
        }
    }
    return std::nullopt;
}

// How one of the two kinds of control groups names things.
struct GROUP_FILES {
    const char *base;
    const char *limit;
    const char *usage;
    const char *cache; // part of the usage that is given back when memory is short
};

// What is left to a control group and to those above it; `room` if they have no limit.
static int64_t RoomInGroups(const std::string &root, const GROUP_FILES &files,
                            const std::string &group, int64_t room)
{
    const std::string base = root + files.base;
    for (std::string path = base + (group == "/" ? "" : group);; path.resize(path.rfind('/'))) {
        const auto limit = ReadNumber(path + files.limit, "");
        const auto usage = ReadNumber(path + files.usage, "");
        if (limit && usage) {
            const int64_t cache = ReadNumber(path + "/memory.stat", files.cache).value_or(0);
            room = std::min(room, std::max<int64_t>(*limit - *usage + cache, 0));
        }
        if (path.size() <= base.size()) {
            return room;
        }
    }
}

int64_t AvailableMemory(const std::string &root)
{
    constexpr int64_t KIB = 1024;
    constexpr GROUP_FILES ONE_TREE = {"/sys/fs/cgroup", "/memory.max", "/memory.current",
                                      "inactive_file"};
    constexpr GROUP_FILES TREE_OF_ITS_OWN = {"/sys/fs/cgroup/memory", "/memory.limit_in_bytes",
                                             "/memory.usage_in_bytes", "total_inactive_file"};
    const auto machine = ReadNumber(root + "/proc/meminfo", "MemAvailable:");
    if (!machine) {
        return -1;
    }
    int64_t room = *machine * KIB;
    std::ifstream groups(root + "/proc/self/cgroup");
    for (std::string line; std::getline(groups, line);) { // number:kinds:/path
        const size_t first = line.find(':');
        const size_t second = line.find(':', first + 1);
        if (second == std::string::npos) {
            continue;
        }
        const std::string kinds = "," + line.substr(first + 1, second - first - 1) + ",";
        const std::string path = line.substr(second + 1);
        if (kinds == ",,") {
            room = RoomInGroups(root, ONE_TREE, path, room);
        } else if (kinds.find(",memory,") != std::string::npos) {
            room = RoomInGroups(root, TREE_OF_ITS_OWN, path, room);
        }
    }
    return room;
}

int JobsThatFit(int jobs, int64_t available, int64_t points)
{
    const int64_t more = std::max<int64_t>(points - USUAL_POINTS, 0) * POINT_BYTES;
    const int64_t fitting = std::max<int64_t>(available / (MEMORY_BYTES + more), 1);
    return available < 0 ? jobs : static_cast<int>(std::min<int64_t>(jobs, fitting));
}

std::string TryDirectory(const std::string &dir, int count)
{
    const std::string probe = dir + "/.probe-" + std::to_string(getpid());
    const int file = open(probe.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const bool is_written = file >= 0 && write(file, "", 1) == 1;
    const int why = errno;
    if (file >= 0) {
        close(file);
        std::remove(probe.c_str());
    }
    if (!is_written) {
        return dir + ": cannot be written: " + std::strerror(why) +
               "; make room, let this account write there, or name another directory";
    }
    struct statvfs disk {
    };
    if (statvfs(dir.c_str(), &disk) != 0 || disk.f_blocks == 0) {
        return ""; // not told; a replication that cannot be stored fails by itself
    }
    const auto free = static_cast<int64_t>(disk.f_bavail * disk.f_frsize);
    const int64_t needed = count * DISK_BYTES;
    return free >= needed ? ""
                          : dir + ": the disk is full: " + std::to_string(free / MIB) +
                                " MiB are free, and " + std::to_string(needed / MIB) +
                                " are needed; make room, or name another directory";
}
