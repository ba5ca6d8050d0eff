#include "tools/hash_list.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string_view>

#include "tools/hashes.h"
#include "tools/plain_file.h"
#include "tools/read_tree.h"
#include "tools/result_tree.h"

namespace fs = std::filesystem;

constexpr size_t HASH_DIGITS = 64;
constexpr char MANIFEST[] = "manifest.json";
constexpr char HEXADECIMAL[] = "0123456789abcdef";

static bool IsResultFile(const std::string &name)
{
    const std::vector<FILE_FORM> &forms = PublishedForm().files;
    return std::any_of(forms.begin(), forms.end(),
                       [&name](const FILE_FORM &form) { return form.name == name; });
}

// Takes a line of the list, as `sha256sum` writes it. Returns what is wrong with it.
static std::string ReadEntry(const std::string &line, HASH_LIST &list)
{
    constexpr std::string_view BLANKS = "  ";
    const size_t digits = std::min(line.find_first_not_of(HEXADECIMAL), line.size());
    if (digits != HASH_DIGITS || line.compare(digits, BLANKS.size(), BLANKS) != 0) {
        return "not a hash, two blanks and the name of a file";
    }
    const std::string name = line.substr(digits + BLANKS.size());
    if (!IsResultFile(name)) {
        return "'" + name + "' is not a result file";
    }
    return list.hashes.emplace(name, line.substr(0, digits)).second ? "" : name + " comes again";
}

HASH_LIST ReadHashList(const std::string &dir)
{
    constexpr size_t LONGEST = 1 << 16; // bytes; a whole list has 4 KiB
    constexpr char ADVICE[] = "; restore the list, or remove it";
    HASH_LIST list;
    const std::string path = dir + "/" + HASH_LIST_NAME;
    std::error_code error;
    list.exists = fs::symlink_status(path, error).type() != fs::file_type::not_found;
    if (!list.exists) {
        return list;
    }
    const auto blame = [&](const std::string &place, const std::string &what) {
        list.errors.push_back(place + ": " + what + ADVICE);
    };
    std::string text;
    const std::string why = ReadPlainFile(path, LONGEST, text);
    if (!why.empty()) {
        blame(path, why);
        return list;
    }
    std::istringstream stream(text);
    int number = 0;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        const std::string what = stream.eof() ? "the line is cut off" : ReadEntry(line, list);
        if (!what.empty()) {
            blame(path + ":" + std::to_string(number), what);
        }
    }
    for (const FILE_FORM &form : PublishedForm().files) {
        if (!list.hashes.contains(form.name)) {
            blame(path, form.name + " is not listed");
        }
    }
    return list;
}

std::string CompareHash(const std::string &dir, const std::string &name, const HASH_LIST &list)
{
    const std::string path = dir + "/" + name;
    const auto listed = list.hashes.find(name);
    if (listed == list.hashes.end()) {
        return "";
    }
    const std::optional<std::string> hash = list.is_manifest ? HashResult(path) : HashFile(path);
    if (!hash || *hash == listed->second) {
        return "";
    }
    return path + ": differs from its hash in " + (list.is_manifest ? MANIFEST : HASH_LIST_NAME) +
           ": it was changed after the run; restore it, or run again";
}

// The value of a text member of a manifest, which is written one member a line; none if it is not
// there or stands twice.
static std::optional<std::string> TextMember(const std::string &text, const std::string &key)
{
    const std::string head = "\"" + key + "\": \"";
    const size_t begin = text.find(head);
    if (begin == std::string::npos || text.find(head, begin + 1) != std::string::npos) {
        return std::nullopt;
    }
    const size_t value = begin + head.size();
    return text.substr(value, text.find('"', value) - value);
}

constexpr size_t LONGEST_MANIFEST = 1 << 20; // bytes

HASH_LIST ReadRunHashes(const std::string &dir, const std::vector<FILE_FORM> &files)
{
    HASH_LIST list;
    std::error_code error;
    const fs::path tree = fs::canonical(dir, error);
    const fs::path design = tree.parent_path();
    const std::string path = (design.parent_path() / MANIFEST).string();
    std::string text;
    if (error || design.filename() != DESIGN_FOLDER ||
        !fs::exists(fs::symlink_status(path, error))) {
        return list;
    }
    const std::string why = ReadPlainFile(path, LONGEST_MANIFEST, text);
    if (!why.empty()) {
        list.errors.push_back(path + ": " + why + "; restore it, or run again");
        return list;
    }
    list.exists = list.is_manifest = text.find("\"sha256\": {") != std::string::npos;
    for (const FILE_FORM &file : files) {
        const std::string name = std::string(DESIGN_FOLDER) + "/" + tree.filename().string() + "/";
        const std::optional<std::string> hash = TextMember(text, name + file.name);
        if (hash) {
            list.hashes.emplace(file.name, *hash);
        } else if (list.exists) {
            list.errors.push_back(std::string(path).append(": ").append(name).append(file.name) +
                                  " is not among its hashes; restore it, or run again");
        }
    }
    return list;
}

std::string CompareManifest(const std::string &dir)
{
    std::error_code error;
    const fs::path tree = fs::canonical(dir, error);
    const fs::path result = tree.parent_path().parent_path();
    const std::string path = (result.parent_path() / MANIFEST).string();
    if (error || tree.parent_path().filename() != DESIGN_FOLDER ||
        result.filename() != RESULT_FOLDER || !fs::exists(fs::symlink_status(path, error))) {
        return "";
    }
    std::string text;
    const std::string why = ReadPlainFile(path, LONGEST_MANIFEST, text);
    if (!why.empty()) {
        return path + ": " + why + "; restore it, or run the replication again";
    }
    const std::optional<std::string> listed = TextMember(text, "tree_sha256");
    if (!listed || listed->size() != HASH_DIGITS ||
        listed->find_first_not_of(HEXADECIMAL) != std::string::npos) {
        return path + ": tree_sha256: " + (listed ? "'" + OneLine(*listed) + "'" : "missing") +
               ", expected a hash of 64 digits; restore it, or run the replication again";
    }
    const std::optional<std::string> hash = HashTree(result.string());
    if (hash == listed) {
        return "";
    }
    return result.string() + ": " +
           (hash ? "differs from its hash, tree_sha256 in " + path : "cannot be read as a whole") +
           ": something was changed after the run; restore it, or run the replication again";
}
