#include "tools/read_tree.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <map>
#include <system_error>
#include <vector>

#include "tools/hash_list.h"
#include "tools/plain_file.h"
#include "tools/tree_values.h"

namespace fs = std::filesystem;

// Whether `word` is a real number as a CSV file has it.
static bool IsReal(std::string_view word)
{
    double number = 0.0;
    const char *const end = word.data() + word.size();
    return std::from_chars(word.data(), end, number).ptr == end && std::isfinite(number);
}

// Whether `word` is a number as the program prints it: an integer, or five or six decimals.
static bool IsNumber(std::string_view word, bool is_integer)
{
    const auto is_digits = [](std::string_view text) {
        return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char letter) {
            return std::isdigit(letter) != 0;
        });
    };
    word.remove_prefix(word.substr(0, 1) == "-" ? 1 : 0);
    if (is_integer) {
        return is_digits(word);
    }
    const size_t point = word.find('.');
    if (point == std::string_view::npos) {
        return word == "inf" || word == "nan";
    }
    const std::string_view decimals = word.substr(point + 1);
    return is_digits(word.substr(0, point)) && is_digits(decimals) &&
           (decimals.size() == 5 || decimals.size() == 6);
}

static std::string Quote(std::string_view word)
{
    constexpr size_t LONGEST = 40;
    return std::string("'").append(word.substr(0, LONGEST)) + "'";
}

// Holds a line against its form; returns what does not fit.
static std::string ReadLine(const FILE_FORM &file, const LINE &form, std::string_view text,
                            const VISITOR &visit)
{
    const std::vector<std::string_view> words = file.is_csv ? SplitCells(text) : SplitWords(text);
    if (words.size() != form.size()) {
        return std::to_string(words.size()) + " columns, expected " + std::to_string(form.size());
    }
    for (size_t i = 0; i < words.size(); ++i) {
        const CELL &cell = form[i];
        std::string_view word = words[i];
        if (!cell.is_value) {
            if (word != cell.text) {
                return Quote(word) + " in column " + std::to_string(i + 1) + ", expected " +
                       Quote(cell.text);
            }
            continue;
        }
        if (file.is_csv && !cell.is_integer && (word.empty() || IsReal(word))) {
            visit(file, cell, word.empty() ? "nan" : word);
            continue;
        }
        const bool has_suffix = word.ends_with(cell.suffix);
        word.remove_suffix(has_suffix ? cell.suffix.size() : 0);
        if (!has_suffix || !IsNumber(word, cell.is_integer) || (file.is_csv && !cell.is_integer)) {
            return Quote(words[i]) + " in column " + std::to_string(i + 1) + ", expected " +
                   (cell.is_integer ? "an integer" : "a real number");
        }
        visit(file, cell, word);
    }
    return "";
}

static std::string ReadLines(const FILE_FORM &form, std::string_view text, const VISITOR &visit,
                             size_t &number)
{
    for (const LINE &line : form.lines) {
        ++number;
        const bool is_open = form.open_end && number == form.lines.size();
        if (text.empty()) {
            return "the file ends, expected " + std::to_string(form.lines.size()) + " lines";
        }
        const size_t end = is_open ? text.size() : text.find('\n');
        if (end == std::string_view::npos || (is_open && text.back() != '\t')) {
            return "the line is cut off";
        }
        std::string error = ReadLine(form, line, text.substr(0, end), visit);
        if (!error.empty()) {
            return error;
        }
        text.remove_prefix(is_open ? end : end + 1);
    }
    ++number;
    return text.empty()
               ? ""
               : "the file goes on, expected " + std::to_string(form.lines.size()) + " lines";
}

constexpr size_t LONGEST_FILE = 64 << 20; // bytes, besides those of the lines; most have 3 MB
constexpr size_t LONGEST_LINE = 1 << 12;  // bytes; only y_detail.txt has longer ones, a few

std::string ReadResultFile(const std::string &dir, const FILE_FORM &form, const VISITOR &visit)
{
    const std::string path = dir + "/" + form.name;
    std::string text;
    const std::string why =
        ReadPlainFile(path, LONGEST_FILE + form.lines.size() * LONGEST_LINE, text);
    if (!why.empty()) {
        return path + ": " + why;
    }
    size_t number = 0;
    const std::string error = ReadLines(form, text, visit, number);
    return error.empty() ? "" : path + ":" + std::to_string(number) + ": " + error;
}

std::string TREE_REPORT::First() const
{
    for (const auto &errors : files) {
        if (!errors.empty()) {
            return errors.front();
        }
    }
    return others.empty() ? "" : others.front();
}

TREE_REPORT CheckTree(const TREE_FORM &form, const std::string &dir, const VISITOR &visit)
{
    TREE_REPORT report;
    TREE_VALUES values;
    bool is_whole = true;
    for (const FILE_FORM &file_form : form.files) {
        const std::string error = ReadResultFile(
            dir, file_form, [&](const FILE_FORM &file, const CELL &cell, std::string_view value) {
                values.Add(value);
                visit(file, cell, value);
            });
        report.files.emplace_back();
        if (!error.empty()) {
            report.files.back().push_back(error);
            is_whole = false;
        }
    }
    const HASH_LIST list = ReadHashList(dir);
    const HASH_LIST run = ReadRunHashes(dir, form.files);
    const auto wrong =
        is_whole ? CheckValues(form, values, dir) : std::map<std::string, std::string>();
    for (size_t i = 0; i < report.files.size(); ++i) {
        const std::string &name = form.files[i].name;
        const auto found = wrong.find(name);
        for (const std::string &error :
             {found == wrong.end() ? "" : found->second, CompareHash(dir, name, list),
              CompareHash(dir, name, run)}) {
            if (!error.empty()) {
                report.files[i].push_back(error);
            }
        }
    }
    report.others = list.errors;
    report.others.insert(report.others.end(), run.errors.begin(), run.errors.end());
    const std::string error = is_whole ? CompareManifest(dir) : "";
    if (!error.empty()) {
        report.others.push_back(error);
    }
    report.listed = list.errors.empty() ? list.hashes.size() : 0;
    return report;
}

std::string ReadResultTree(const TREE_FORM &form, const std::string &dir, const VISITOR &visit)
{
    return CheckTree(form, dir, visit).First();
}

std::string FindTree(const std::string &dir)
{
    std::error_code error;
    const fs::path root(dir);
    for (const fs::path &design : {root / DESIGN_FOLDER, root / RESULT_FOLDER / DESIGN_FOLDER}) {
        if (fs::exists(root / "result.txt", error) || !fs::is_directory(design, error)) {
            continue;
        }
        std::vector<std::string> sizes; // a folder for each size of packets
        for (const auto &entry : fs::directory_iterator(design, error)) {
            sizes.push_back(entry.path().string());
        }
        return sizes.size() == 1 ? sizes.front() : (design / "1500").string();
    }
    return dir;
}
