// Snapshots of the whole model state, and the first field in which two of them differ.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct FIELD;

// One field, or one record's field of a list, within a snapshot.
struct PIECE {
    const FIELD *field;
    int station;      // EMPTY for globals
    const char *list; // name of the list, null outside lists
    int place;        // position in the list
    size_t at;        // first byte in `bytes`
    int count;        // values
};

struct SNAPSHOT {
    std::vector<PIECE> pieces;
    std::vector<char> bytes;
};

// Copies all that anybody can observe: every field of every station, the packets in the queues, the
// logged keys, the signals, the collision tables, the results if there are any, the globals and the
// generator. Left out is the `hop_time` of the packets behind the head,
// which is settled when they get there.
SNAPSHOT TakeSnapshot();

// The first difference in words: station, field, both values. Empty if there is none.
std::string FirstDifference(const SNAPSHOT &expected, const SNAPSHOT &actual);

// One number for all of a snapshot: the sum of a hash for each value that is not zero, made from
// its name and the value, so neither the order nor the width of fields enters. A field more that is
// always zero leaves it as it is; one that is renamed changes it.
uint64_t HashOf(const SNAPSHOT &snapshot);

// All values that are not zero, a line each, `name: value`, sorted by name.
std::string TextOf(const SNAPSHOT &snapshot);
