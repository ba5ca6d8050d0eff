// A file that takes the place of an older one as a whole, or leaves it as it was.
#pragma once

#include <cstdio>
#include <string>

class REPLACEMENT
{
  public:
    // Opens a file of a temporary name beside `at`. Nothing but a plain file, or none, may stand
    // there. Error() tells whether that has worked.
    explicit REPLACEMENT(std::string at);

    // Removes what was not committed.
    ~REPLACEMENT();
    REPLACEMENT(const REPLACEMENT &) = delete;
    REPLACEMENT &operator=(const REPLACEMENT &) = delete;

    // What has gone wrong, in words that begin with the path, or an empty text.
    const std::string &Error() const
    {
        return error;
    }

    FILE *File() const
    {
        return file;
    }

    // Brings the file to the disk and puts it in place. `is_written` tells whether it was filled.
    // Returns Error().
    const std::string &Commit(bool is_written);

  private:
    std::string path;
    std::string partial;
    std::string error;
    FILE *file = nullptr;
};
