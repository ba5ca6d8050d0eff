// SHA-256 of texts, files and trees, as `sha256sum` prints it: 64 hexadecimal digits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The hash of a text that comes in parts.
class DIGEST
{
  public:
    static constexpr size_t BLOCK_BYTES = 64;

    DIGEST();
    void Add(std::string_view text);

    // The hash of what was added so far.
    std::string Hash() const;

  private:
    std::array<uint32_t, 8> state;
    std::array<unsigned char, BLOCK_BYTES> rest{}; // the block that is not yet full
    uint64_t length = 0;                           // bytes added
};

std::string HashText(std::string_view text);

// The hash of a plain file's bytes; none if it cannot be read.
std::optional<std::string> HashFile(const std::string &path);

// The hash of a result file, less the line of result.txt that tells how long the run took on the
// clock, so that the same experiment has the same hashes. None if it cannot be read.
std::optional<std::string> HashResult(const std::string &path);

inline constexpr char HASH_LIST_NAME[] = "SHA256SUMS";
inline constexpr char FIGURE_FOLDER[] = "fig";

// The hash of a list of all plain files below a directory, in the order of their paths: a line for
// each, of its hash, two blanks, and its path from the name of `dir` on. Lists of hashes and
// folders of figures are passed over: tools leave them beside the results of a run. None if a file
// cannot be read.
std::optional<std::string> HashTree(const std::string &dir);
