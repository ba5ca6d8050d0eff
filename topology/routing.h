// Static routes: which neighbour a station hands a packet to.
#pragma once

// Builds the routing tables as the settings say. The tables are empty before.
void MakeTable();

// The rows of the settings, each station's in the order in which they stand.
void MakeTable_List();

// Each sender routes to its receiver and back; the row number is the destination.
void MakeTable_Design();

// Routes to both ends of a chain: row 0 towards station 9, row 1 towards station 0.
void MakeTable_Line();

// A direct route to every neighbour; row k is the k-th neighbour.
void MakeTable_Rand();

// Writes all tables into the main result file. For looking at them by hand; nothing calls it.
void TestTable();

// Next hop of `station` towards `destination`, EMPTY if no row names it. The last matching row
// wins.
int NextHop(int station, int destination);

// `neighbour` if some row of `station` has it as next hop, else EMPTY: how a CTS or ACK is
// addressed.
int AnswerHop(int station, int neighbour);
