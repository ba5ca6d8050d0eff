// The starting state of the stations, and their way back to rest after an exchange.
#pragma once

// Puts all stations into the state in which a load point begins: idle, empty queue, fresh backoff,
// placed and routed. Draws one backoff per station.
void InitAllNode();

// Gives every field of one station its starting value. Logged frames, and the times and id of the
// packet record at the head of the queue, outlive it.
void InitNode(int station);

// Returns a station to contention, or to idle if its queue is empty, as `kind` (RESET_KIND) tells:
// contention window, backoff and retry count follow the binary exponential backoff of the DCF
// (IEEE 802.11-2020 10.3.3). Any other kind does nothing.
void ResetNode(int station, int kind);

// What all resets do, and all that the end of an ACK does: the station contends if it has a packet,
// else it is idle; timer and NAV are off, nothing has been counted. Backoff and receive lock stay.
void ReturnToRest(int station);

// Has the head packet, if there is one and this is no retransmission, count its first access
// attempt from this tick. Inside the measurement window only.
void BeginAccess(int station);
