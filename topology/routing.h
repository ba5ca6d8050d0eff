// Static routes: which neighbour a station hands a packet to.
#pragma once

// Builds the routing tables of the experiment. The tables are empty before.
void MakeTable();

// Each sender routes to its receiver and back; the row number is the destination.
void MakeTable_Design();

// Routes to both ends of a chain: row 0 towards station 9, row 1 towards station 0. Not used by the
// experiment.
void MakeTable_Line();

// A direct route to every neighbour. Not used by the experiment.
void MakeTable_Rand();

// Writes all tables into the main result file. For looking at them by hand; nothing calls it.
void TestTable();

// Next hop of `station` towards `destination`, EMPTY if no row names it. The last matching row
// wins.
int NextHop(int station, int destination);

// `neighbour` if some row of `station` has it as next hop, else EMPTY: how a CTS or ACK is
// addressed.
int AnswerHop(int station, int neighbour);
