#include "tools/seed_lock.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

// Whether `path` still names the open file. The lock of a file that was removed meanwhile keeps
// nobody out.
static bool IsSameFile(int file, const std::string &path)
{
    struct stat open_one {
    };
    struct stat named {
    };
    return fstat(file, &open_one) == 0 && stat(path.c_str(), &named) == 0 &&
           open_one.st_ino == named.st_ino && open_one.st_dev == named.st_dev;
}

int LockSeed(const std::string &partial)
{
    const std::string path = partial + ".lock";
    while (true) {
        const int lock = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        if (lock < 0) {
            return -1;
        }
        if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
            const int why = errno;
            close(lock);
            errno = why;
            return -1;
        }
        if (IsSameFile(lock, path)) {
            return lock;
        }
        close(lock);
    }
}

void UnlockSeed(const std::string &partial, int lock)
{
    std::error_code error;
    std::filesystem::remove(partial + ".lock", error);
    close(lock);
}
