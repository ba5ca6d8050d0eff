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

// The hops of all paths as [sender, receiver], each once.
function hopsOf(network) {
    const hops = network.paths.flatMap((path) => path.slice(1).map((to, k) => [path[k], to]));
    return [...new Map(hops.map((hop) => [hop.join(), hop])).values()];
}

// Hops that no frame gets over.
export function unheardHops(network) {
    return hopsOf(network).filter(([from, to]) => !network.receives[to].includes(from));
}

export function tellUnheard(network) {
    const hops = unheardHops(network).map(([from, to]) => `${from} to ${to}`);
    return hops.length > 0
        ? ` Nothing gets over, as the receiver does not hear: ${hops.join(', ')}.`
        : '';
}

// What the senders that station `i` senses have to do with it, and with each other.
function tellSenders(network, i) {
    const { senses, receives } = network;
    const hops = hopsOf(network);
    const isHeard = (at, from) => senses[at].includes(from) || receives[at].includes(from);
    const senders = [...new Set(hops.map((hop) => hop[0]))]
        .filter((sender) => sender !== i && senses[i].includes(sender))
        .sort((a, b) => a - b);
    const apart = senders.flatMap((a, k) =>
        senders
            .slice(k + 1)
            .filter((b) => !senses[a].includes(b) && !senses[b].includes(a))
            .map((b) => `${a} and ${b}`),
    );
    const said =
        apart.length > 0 ? [`It senses senders that do not sense each other: ${few(apart)}.`] : [];
    const exposed = senders.flatMap((sender) => {
        const unable = hops.filter(([from, to]) => from === sender && to !== i && !isHeard(to, i));
        return unable.length > 0
            ? [`${sender} (sends to ${few(unable.map((hop) => hop[1]))})`]
            : [];
    });
    if (exposed.length > 0 && hops.some((hop) => hop[0] === i)) {
        said.push(`It waits for senders whose receivers do not hear it: ${few(exposed)}.`);
    }
    return said;
}

function few(items) {
    const MOST = 5;
    const more = items.length - MOST;
    return more > 0 ? `${items.slice(0, MOST).join(', ')} and ${more} more` : items.join(', ');
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
    return [...said, ...tellSenders(network, i)].join(' ');
}
