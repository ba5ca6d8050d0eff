// A CSV file that is written row by row while a run goes on: whole at the end or not there, and
// hashed as it is written.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>

#include "output/print.h"
#include "tools/hashes.h"
#include "tools/replace_file.h"

class CSV_FILE
{
  public:
    // Opens a temporary file beside `path`; Error() tells whether that has worked.
    CSV_FILE(const std::string &path, const char *head) : replacement(path)
    {
        is_written = replacement.Error().empty();
        Text(head);
        EndRow();
    }

    // What has gone wrong, in words that begin with the path, or an empty text.
    const std::string &Error() const
    {
        return replacement.Error();
    }

    // Cells; reals are the shortest text that reads back as the same number.
    template <typename NUMBER> void Cell(NUMBER number)
    {
        char *begin = buffer + length;
        char *end = begin;
        if constexpr (std::is_floating_point_v<NUMBER>) {
            end = WriteReal(begin, number);
        } else {
            end = std::to_chars(begin, begin + CELL_BYTES, number).ptr;
        }
        length = static_cast<size_t>(end - buffer);
        buffer[length++] = ',';
    }
    void EmptyCell()
    {
        buffer[length++] = ',';
    }

    // Ends the row behind its last cell. A row is far shorter than ROW_BYTES.
    void EndRow()
    {
        buffer[length - 1] = '\n';
        if (length >= sizeof buffer - ROW_BYTES) {
            Flush();
        }
    }

    // Puts the file in place. Returns Error().
    const std::string &Commit()
    {
        Flush();
        return replacement.Commit(is_written);
    }

    // The hash of what has been written, behind Commit().
    std::string Hash() const
    {
        return digest.Hash();
    }

  private:
    static constexpr size_t ROW_BYTES = 1024;
    static constexpr size_t CELL_BYTES = 32;

    REPLACEMENT replacement;
    DIGEST digest;
    bool is_written;
    size_t length = 0; // bytes in `buffer`
    char buffer[1 << 16];

    void Text(const char *text)
    {
        const size_t bytes = std::strlen(text);
        std::memcpy(buffer + length, text, bytes);
        length += bytes;
        buffer[length++] = ',';
    }

    void Flush()
    {
        digest.Add({buffer, length});
        is_written = is_written && std::fwrite(buffer, 1, length, replacement.File()) == length;
        length = 0;
    }
};
