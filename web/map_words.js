// What the map tells in words of the network around a station.

// "0, 1 and 3".
export function listInWords(items) {
    return items.length < 2
        ? items.join('')
        : `${items.slice(0, -1).join(', ')} and ${items[items.length - 1]}`;
}

// Hidden pairs [station, receiver] by station: [[station, [receivers]], ...], ascending.
function hiddenByStation(pairs) {
    const receivers = new Map();
    for (const [station, receiver] of pairs) {
        receivers.set(station, (receivers.get(station) ?? new Set()).add(receiver));
    }
    return [...receivers]
        .map(([station, at]) => [station, [...at].sort((a, b) => a - b)])
        .sort((a, b) => a[0] - b[0]);
}

// What station `i` hears and what is hidden from it, in sentences. network.senses has all stations
// in carrier sense range, received or not.
export function describeNeighbours(network, i) {
    const received = network.receives[i];
    const sensed = network.senses[i].filter((j) => !received.includes(j));
    const said = [];
    if (received.length > 0) {
        said.push(`Station ${i} receives ${listInWords(received)}.`);
        if (sensed.length > 0) {
            said.push(`It senses ${listInWords(sensed)} besides, without receiving.`);
        }
    } else if (sensed.length > 0) {
        said.push(`Station ${i} receives nobody. It senses ${listInWords(sensed)}.`);
    } else {
        said.push(`Station ${i} hears nobody.`);
    }
    const unsensed = received.filter((j) => !network.senses[i].includes(j));
    if (unsensed.length > 0) {
        said.push(`It does not sense ${listInWords(unsensed)}, though it receives them.`);
    }
    const hidden = hiddenByStation(network.hidden[i]).map(
        ([station, receivers]) => `${station} (at ${listInWords(receivers)})`,
    );
    said.push(`Hidden from it: ${hidden.length > 0 ? listInWords(hidden) : 'none'}.`);
    return said.join(' ');
}
