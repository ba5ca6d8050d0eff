// Files that are there whole or not at all, however many commands write them at the same time and
// whatever ends these.
#pragma once

#include <cstdio>
#include <string>

// A file that is written piece by piece.
class REPLACEMENT
{
  public:
    // Opens a file of a name of this process's own beside `at`. Nothing but a plain file, or none,
    // may stand there. Error() tells whether that has worked.
    explicit REPLACEMENT(std::string at);

    // Removes what was not committed.
    ~REPLACEMENT();
    REPLACEMENT(const REPLACEMENT &) = delete;
    REPLACEMENT &operator=(const REPLACEMENT &) = delete;

    // What has gone wrong, with the path and what to do, or an empty text; the file at the path is
    // then as it was.
    const std::string &Error() const
    {
        return error_;
    }

    FILE *File() const
    {
        return file_;
    }

    // Brings the file to the disk and puts it in place. `is_written` tells whether it was filled.
    // Where `is_new`, a file that is in place already is left alone, which is no failure: of
    // several that create it, one does. Returns Error().
    const std::string &Commit(bool is_written, bool is_new = false);

  private:
    std::string path_;
    std::string partial_;
    std::string error_;
    FILE *file_ = nullptr;

    void Fail(int error);
};

// Puts a file that holds `text` at `path`. Returns what went wrong, as Error() does.
std::string ReplaceFile(const std::string &path, const std::string &text);

// The same, but leaves alone a file that is there already.
std::string CreateFile(const std::string &path, const std::string &text);
