// What the forms of the result files are made of.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

#include "tools/result_tree.h"

// What a value belongs to, and the point of the sweep it was measured at.
struct THING {
    const char *kind;
    std::string name;
    int trial = TRIAL_MEAN;
    int load_kbps = LOAD_NONE;
};

inline const THING TEXT{nullptr, ""};
inline constexpr char DASHES[] =
    "//-----------------------------------------------------------------------------\n";

// Column headers above the summary files. They do not always match the rows: ten links above nine,
// eleven nodes above ten.
enum LABEL { LABEL_FORWARD, LABEL_BACKWARD, LABEL_NODE };

std::string LabelText(LABEL label);

THING Flow(int flow, int load_kbps);
THING Link(int sender, int receiver, int trial, int load_kbps);

std::string Join(std::initializer_list<std::string_view> parts);

// A real number as the headers of files and blocks show it.
std::string RealText(double number);

// Appends the words of `text` to a line.
void Add(LINE &line, const THING &thing, std::string_view text);

// Appends the lines of `text`, the last of which may lack its line break.
void AddLines(FILE_FORM &form, const THING &thing, const std::string &text);

// The six leading values, whatever the header calls them.
void AddLeadingValues(LINE &line, int load_kbps);

// Calls `visit` with sender and receiver of the links in the order of the files.
void VisitLinks(const std::function<void(int, int)> &visit);

// Calls `add` for every load point of every trial with a thing that stands for the whole network.
void VisitPoints(const SETTINGS &experiment, const std::function<void(const THING &)> &add);

// The lines of a run header on packets and airtimes, from "packet_size" on; `shown` stands there.
std::string AirtimeLines(const SETTINGS &experiment, int shown);

// The line with the share of an exchange that its DATA takes.
std::string ShareLine(const SETTINGS &experiment);

// Bytes of an IP packet.
constexpr int PacketBytes(const SETTINGS &experiment)
{
    constexpr int UDP_IP_BYTES = 28;
    return experiment.data_length + UDP_IP_BYTES;
}

// Fill the form of the file `name`, if it is one of theirs: of the means over the trials, and of
// what is shown per trial. Return whether it is.
bool FillMeans(FILE_FORM &form, const SETTINGS &experiment);
bool FillTrials(FILE_FORM &form, const SETTINGS &experiment);
