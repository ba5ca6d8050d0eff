// What the documents say of the code, held against the code: the table of the states, the entries
// of kept behaviour, the quantities of the result files.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

// With sanitizers g++ 12 takes parts of this header for uninitialised.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <regex>

#include "driver/state_table.h"
#include "tools/derived.h"
#include "tools/result_tree.h"

namespace fs = std::filesystem;

static std::string Read(const fs::path &path)
{
    std::ifstream file(path);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

static std::string ReadDocument(const char *name)
{
    return Read(fs::path(DCFSIM_SOURCE_DIR) / "docs" / name);
}

static std::vector<std::string> Lines(const std::string &text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The texts between backquotes in `text`.
static std::vector<std::string> Quoted(const std::string &text)
{
    static const std::regex quoted("`([^`]+)`");
    std::vector<std::string> found;
    for (std::sregex_iterator at(text.begin(), text.end(), quoted), end; at != end; ++at) {
        found.push_back((*at)[1]);
    }
    return found;
}

using ROW = std::vector<std::string>;

// The rows of the table whose first head is `head`, without its heads; cells have no blanks around
// them.
static std::vector<ROW> Table(const std::string &text, const std::string &head)
{
    std::vector<ROW> rows;
    bool inside = false;
    for (const std::string &line : Lines(text)) {
        inside = line.starts_with("| " + head + " |") || (inside && line.starts_with("|"));
        if (!inside) {
            continue;
        }
        ROW &row = rows.emplace_back();
        static const std::regex cell(R"(\| *([^|]*[^| ]) *(?=\|))");
        for (std::sregex_iterator at(line.begin(), line.end(), cell), end; at != end; ++at) {
            row.push_back((*at)[1]);
        }
    }
    rows.erase(rows.begin(), rows.begin() + std::min<ptrdiff_t>(2, std::ssize(rows)));
    return rows;
}

static const char *FrameName(int type)
{
    static const char *const names[] = {"RTS", "CTS", "DATA", "ACK"};
    return type == EMPTY ? "-" : names[type];
}

static const char *ShareName(SHARE share)
{
    static const char *const names[] = {"none", "idle", "busy", "DIFS", "backoff", "sending"};
    return names[share];
}

TEST(Documents, StatesAreThoseOfTheCode)
{
    static const char *const sides[] = {"none", "transmit", "receive", "both"};
    static const char *const yes_no[] = {"no", "yes"};
    std::vector<ROW> expected;
    for (int state = 0; state < STATE_NUM; ++state) {
        const STATE_ROW &row = STATE_TABLE[state];
        if (row.label == nullptr) {
            continue;
        }
        const std::string label = row.label;
        expected.push_back({std::to_string(state), label.substr(label.find_first_not_of(' ')),
                            sides[row.side], FrameName(row.sends), FrameName(row.sends_next),
                            FrameName(row.awaits), yes_no[row.carrier], yes_no[row.active],
                            ShareName(row.share), ShareName(row.share_busy),
                            yes_no[IsIn(state, COUNTING_IDLE)]});
    }
    std::vector<ROW> told = Table(ReadDocument("model.md"), "No");
    ASSERT_EQ(told.size(), expected.size());
    for (size_t i = 0; i < told.size(); ++i) {
        ASSERT_EQ(told[i].size(), expected[i].size() + 1) << told[i].front();
        told[i].pop_back(); // what the station is doing, in words
        EXPECT_EQ(told[i], expected[i]);
    }
}

// The folders of the simulator.
static const char *const FOLDERS[] = {"driver",  "topology", "mac",
                                      "channel", "output",   "fastforward"};

// How many entries a file should have, or has: by its name below the root of the sources.
using COUNTS = std::map<std::string, int>;

static COUNTS CountMarks()
{
    COUNTS marks;
    for (const char *folder : FOLDERS) {
        const fs::path path = fs::path(DCFSIM_SOURCE_DIR) / folder;
        if (!fs::exists(path)) {
            continue; // the fast path may have been left out
        }
        for (const auto &file : fs::directory_iterator(path)) {
            for (const std::string &line : Lines(Read(file.path()))) {
                if (line.find("// Kept:") != std::string::npos) {
                    ++marks[(folder / file.path().filename()).string()];
                }
            }
        }
    }
    return marks;
}

// An entry is a paragraph "**What** (`file`, ...) ..." or a row of the last table, whose last
// column names the file.
TEST(Documents, KeptBehaviour)
{
    const std::string text = ReadDocument("kept-behaviour.md");
    COUNTS entries;
    static const std::regex entry(R"(\n\*\*[^*]+\*\*\s+\(([^)]*)\))");
    for (std::sregex_iterator at(text.begin(), text.end(), entry), end; at != end; ++at) {
        for (const std::string &file : Quoted((*at)[1])) {
            ++entries[file];
        }
    }
    std::set<std::string> tests;
    for (const ROW &row : Table(text, "File")) {
        ASSERT_EQ(row.size(), 5U) << row.front();
        ++entries[Quoted(row[4]).at(0)];
        for (const std::string &test : Quoted(row[3])) {
            tests.insert("OutputTest." + test);
        }
    }
    EXPECT_EQ(entries, CountMarks()); // by file: entries of the document, marks in the code

    // The tests that the entries name exist.
    std::set<std::string> known;
    static const std::regex definition(R"(\nTEST(?:_[FP])?\((\w+), (\w+)\))");
    for (const auto &file : fs::directory_iterator(fs::path(DCFSIM_SOURCE_DIR) / "tests")) {
        const std::string source = file.path().extension() == ".cpp" ? Read(file.path()) : "";
        for (std::sregex_iterator at(source.begin(), source.end(), definition), end; at != end;
             ++at) {
            known.insert((*at)[1].str() + "." + (*at)[2].str());
        }
    }
    static const std::regex test_name(R"([A-Z]\w+\.[A-Z]\w+)");
    for (const std::string &word : Quoted(text)) {
        if (std::regex_match(word, test_name)) {
            tests.insert(word);
        }
    }
    EXPECT_GT(tests.size(), 20U);
    for (const std::string &test : tests) {
        EXPECT_EQ(known.count(test), 1U) << test;
    }
}

// All that a pattern with lists of alternatives in braces stands for.
static std::vector<std::string> Expand(const std::string &pattern)
{
    const size_t open = pattern.find('{');
    const size_t close = pattern.find('}', open);
    if (close == std::string::npos) {
        return {pattern};
    }
    std::vector<std::string> found;
    for (size_t begin = open + 1; begin <= close;) {
        const size_t end = std::min(pattern.find(',', begin), close);
        for (const std::string &rest : Expand(pattern.substr(close + 1))) {
            found.push_back(pattern.substr(0, open) + pattern.substr(begin, end - begin) + rest);
        }
        begin = end + 1;
    }
    return found;
}

static std::set<std::string> ExpandAll(const std::string &cell)
{
    std::set<std::string> found;
    for (const std::string &pattern : Quoted(cell)) {
        const std::vector<std::string> names = Expand(pattern);
        found.insert(names.begin(), names.end());
    }
    return found;
}

TEST(Documents, QuantitiesOfTheResultFiles)
{
    std::set<ROW> expected; // file, kind, quantity, unit
    std::set<std::string> files;
    for (const FILE_FORM &form : FormOf({}, true).files) {
        files.insert(form.name);
        for (const LINE &line : form.lines) {
            for (const CELL &cell : line) {
                if (cell.is_value && cell.kind != nullptr) {
                    expected.insert({form.name, cell.kind, cell.text, cell.unit});
                }
            }
        }
    }
    std::set<ROW> told;
    std::set<std::string> told_files;
    for (const ROW &row : Table(ReadDocument("results.md"), "Files")) {
        ASSERT_EQ(row.size(), 5U) << row.front();
        for (const std::string &file : ExpandAll(row[0])) {
            told_files.insert(file);
            for (const std::string &quantity : ExpandAll(row[2])) {
                EXPECT_TRUE(told.insert({file, row[1], quantity, row[3]}).second)
                    << file << " " << quantity << " stands twice";
            }
        }
    }
    const auto list_difference = [](const std::set<ROW> &from, const std::set<ROW> &without) {
        std::string text;
        for (const ROW &row : from) {
            text += without.count(row) == 0
                        ? "\n" + row[0] + " " + row[1] + " " + row[2] + " " + row[3]
                        : "";
        }
        return text;
    };
    EXPECT_EQ(list_difference(expected, told), "") << "not in the document";
    EXPECT_EQ(list_difference(told, expected), "") << "in the document alone";
    EXPECT_EQ(told_files, files);
}

TEST(Documents, DerivedQuantities)
{
    std::set<ROW> expected;
    for (const DERIVED &derived : DerivedQuantities(PublishedForm())) {
        const QUANTITY &what = derived.what;
        expected.insert({what.file, what.kind, what.metric, what.unit});
    }
    std::set<ROW> told;
    for (const ROW &row : Table(ReadDocument("results.md"), "From")) {
        ASSERT_EQ(row.size(), 5U) << row.front();
        for (const std::string &quantity : ExpandAll(row[2])) {
            told.insert({*ExpandAll(row[0]).begin(), row[1], quantity, row[3]});
        }
    }
    EXPECT_EQ(told, expected);
}
