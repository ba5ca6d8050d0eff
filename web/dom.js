// Small makers of elements, and of files. Text is text: nothing that is shown is ever read as HTML.

function withAttributes(made, attributes, children) {
    for (const [key, value] of Object.entries(attributes)) {
        made.setAttribute(key, value);
    }
    made.append(...children);
    return made;
}

export function html(name, attributes = {}, ...children) {
    return withAttributes(document.createElement(name), attributes, children);
}

export function svg(name, attributes = {}, ...children) {
    const made = document.createElementNS('http://www.w3.org/2000/svg', name);
    return withAttributes(made, attributes, children);
}

// Hands bytes or a text to the user as a file.
export function download(bytes, name, type) {
    const address = URL.createObjectURL(new Blob([bytes], { type }));
    html('a', { href: address, download: name }).click();
    setTimeout(() => URL.revokeObjectURL(address), 60_000);
}
