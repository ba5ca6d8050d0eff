// SHA-256 as FIPS 180-4 defines it; reckoned here, as a check of files should depend on nothing
// that may be missing. A message is cut into blocks of 64 bytes, each of which stirs a state of
// eight words in 64 rounds; the state after the last block is the hash.
#include "tools/hashes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <set>

#include "tools/plain_file.h"

namespace fs = std::filesystem;

constexpr size_t LENGTH_BYTES = 8; // at the end of the last block: bits of the message
constexpr int ROUNDS = 64;

// Fractions of the square roots of the first eight primes.
static const std::array<uint32_t, 8> START = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                              0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

// Fractions of the cube roots of the first 64 primes.
static const uint32_t ROUND_CONSTANTS[ROUNDS] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

// Stirs one block into the state.
static void HashBlock(std::array<uint32_t, 8> &state, const unsigned char *block)
{
    uint32_t w[ROUNDS];
    for (int i = 0; i < 16; ++i) {
        w[i] = static_cast<uint32_t>(block[4 * i]) << 24 |
               static_cast<uint32_t>(block[4 * i + 1]) << 16 |
               static_cast<uint32_t>(block[4 * i + 2]) << 8 | block[4 * i + 3];
    }
    for (int i = 16; i < ROUNDS; ++i) {
        const uint32_t s0 = std::rotr(w[i - 15], 7) ^ std::rotr(w[i - 15], 18) ^ w[i - 15] >> 3;
        const uint32_t s1 = std::rotr(w[i - 2], 17) ^ std::rotr(w[i - 2], 19) ^ w[i - 2] >> 10;
        w[i] = w[i - 16] + s0 + w[i - 7] + s1;
    }
    auto [a, b, c, d, e, f, g, h] = state;
    for (int i = 0; i < ROUNDS; ++i) {
        const uint32_t s1 = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
        const uint32_t t1 = h + s1 + ((e & f) ^ (~e & g)) + ROUND_CONSTANTS[i] + w[i];
        const uint32_t s0 = std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22);
        const uint32_t t2 = s0 + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + t1;
        d = c;
        c = b;
        b = a;
        a = t1 + t2;
    }
    const std::array<uint32_t, 8> stirred = {a, b, c, d, e, f, g, h};
    for (size_t i = 0; i < state.size(); ++i) {
        state[i] += stirred[i];
    }
}

DIGEST::DIGEST() : state(START)
{
}

void DIGEST::Add(std::string_view text)
{
    const auto *bytes = reinterpret_cast<const unsigned char *>(text.data());
    size_t left = text.size();
    const size_t begun = length % BLOCK_BYTES; // of the block that is not yet full
    length += left;
    if (begun > 0) {
        const size_t taken = std::min(left, BLOCK_BYTES - begun);
        std::copy_n(bytes, taken, rest.begin() + begun);
        bytes += taken;
        left -= taken;
        if (begun + taken < BLOCK_BYTES) {
            return;
        }
        HashBlock(state, rest.data());
    }
    for (; left >= BLOCK_BYTES; left -= BLOCK_BYTES, bytes += BLOCK_BYTES) {
        HashBlock(state, bytes);
    }
    std::copy_n(bytes, left, rest.begin());
}

std::string DIGEST::Hash() const
{
    // The rest, a bit that is set, zeros, and the length, which may need a block of its own.
    const uint64_t bits = length * 8;
    const size_t begun = length % BLOCK_BYTES;
    unsigned char last[2 * BLOCK_BYTES] = {};
    std::copy_n(rest.begin(), begun, last);
    last[begun] = 0x80;
    const bool is_long = begun >= BLOCK_BYTES - LENGTH_BYTES;
    unsigned char *end = last + (is_long ? 2 : 1) * BLOCK_BYTES;
    for (size_t i = 1; i <= LENGTH_BYTES; ++i) {
        *(end - i) = static_cast<unsigned char>(bits >> 8 * (i - 1));
    }
    std::array<uint32_t, 8> stirred = state;
    for (const unsigned char *block = last; block != end; block += BLOCK_BYTES) {
        HashBlock(stirred, block);
    }
    std::string hash;
    for (const uint32_t word : stirred) {
        char digits[9];
        std::snprintf(digits, sizeof digits, "%08x", word);
        hash += digits;
    }
    return hash;
}

std::string HashText(std::string_view text)
{
    DIGEST digest;
    digest.Add(text);
    return digest.Hash();
}

std::optional<std::string> HashFile(const std::string &path)
{
    constexpr size_t LARGEST_FILE = 1 << 30;
    std::string text;
    return ReadPlainFile(path, LARGEST_FILE, text).empty()
               ? std::optional<std::string>(HashText(text))
               : std::nullopt;
}

std::optional<std::string> HashResult(const std::string &path)
{
    constexpr size_t LARGEST_FILE = 1 << 30;
    static const std::string clock_line = "\nsimulation run time : ";
    std::string text;
    if (!ReadPlainFile(path, LARGEST_FILE, text).empty()) {
        return std::nullopt;
    }
    const size_t begin = text.find(clock_line);
    if (begin != std::string::npos) {
        text.erase(begin + 1, text.find('\n', begin + 1) - begin);
    }
    return HashText(text);
}

// What tools leave beside the results.
static bool IsAddition(const fs::path &path)
{
    return path.filename() == HASH_LIST_NAME || path.filename() == FIGURE_FOLDER;
}

std::optional<std::string> HashTree(const std::string &dir)
{
    std::error_code error;
    std::set<std::string> paths;
    fs::recursive_directory_iterator entry(dir, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        if (IsAddition(entry->path())) {
            entry.disable_recursion_pending();
        } else if (entry->symlink_status(error).type() == fs::file_type::regular) {
            paths.insert(entry->path().string());
        }
    }
    std::string list;
    for (const std::string &path : paths) {
        const std::optional<std::string> hash = HashFile(path);
        if (!hash) {
            return std::nullopt;
        }
        const fs::path below = fs::path(path).lexically_relative(dir);
        list += *hash + "  " + (fs::path(dir).filename() / below).string() + "\n";
    }
    return error ? std::nullopt : std::optional<std::string>(HashText(list));
}
