// The end of an exchange whose answer did not come, and the virtual carrier sense.
#pragma once

// Kind of frame that was overheard.
enum NAV_KIND {
    NAV_RTS = 0,
    NAV_CTS = 1,
    NAV_DATA = 2,
};

// Ends an exchange without its CTS or ACK: schedules a retransmission, or at the retry limit drops
// the head packet (IEEE 802.11-2020 10.3.4.4).
void Timeout(int station);

// Raises the NAV of a station that overheard a frame of `kind` (NAV_KIND) to the time that the rest
// of the exchange takes; never lowers it (IEEE 802.11-2020 10.3.2.4). Any other kind leaves the
// NAV.
void SetNav(int station, int kind);
