// Builds elements in one expression, so that modules state what they show rather than how it is assembled.

const SVG = 'http://www.w3.org/2000/svg';

/**
 * @param {Element} element
 * @param {Object<string, any>} properties `on...` are listeners, names with a dash are attributes, everything else is
 *     a property of the element if it has one of that name
 */
function decorate(element, properties, children) {
    for (const [name, value] of Object.entries(properties ?? {})) {
        if (value === undefined || value === null) continue;
        if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
        else if (name in element && !name.includes('-') && element.namespaceURI !== SVG) element[name] = value;
        else element.setAttribute(name, value);
    }
    element.append(...children.flat().filter((child) => child !== null && child !== undefined));
    return element;
}

export function h(tag, properties, ...children) {
    return decorate(document.createElement(tag), properties, children);
}

export function svg(tag, attributes, ...children) {
    return decorate(document.createElementNS(SVG, tag), attributes, children);
}

/** An icon from the sprite in index.html; the adjacent text, or the button's label, has the same meaning. */
export function icon(name) {
    return svg('svg', { class: 'icon', 'aria-hidden': 'true' }, svg('use', { href: `#icon-${name}` }));
}

export function iconButton(name, label, onclick, properties = {}) {
    return h(
        'button',
        { type: 'button', class: 'icon-button', 'aria-label': label, title: label, onclick, ...properties },
        icon(name),
    );
}

/** @returns {HTMLElement} */
export function byId(id) {
    return document.getElementById(id);
}

export function announce(text) {
    byId('announcement').textContent = text;
}
