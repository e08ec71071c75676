// Keeps the recipe, the photograph and the view in the address's fragment, so that closing the browser loses nothing.

import { stepsFromText, stepsToText } from './recipe.js';

const DELAY = 200; // milliseconds; browsers limit how often an address may change

/** @param {import('./store.js').Store} store */
export function writeAddress(store) {
    const { photo, zoom, centre, isComparing, divider } = store.ui;
    const parts = [`photo=${photo}`];
    parts.push(zoom === 'fit' ? 'view=fit' : `view=${[zoom, ...centre].map((number) => Number(number.toFixed(4)))}`);
    parts.push(`divider=${isComparing ? divider.toFixed(3) : 'off'}`);
    parts.push(`chain=${encodeURIComponent(stepsToText(store.steps))}`);
    return `#${parts.join('&')}`;
}

/** @returns the state to restore, and a message if the address was not written by the page */
export function readAddress(fragment, catalogue, photos) {
    const words = new Map(
        fragment
            .replace(/^#/, '')
            .split('&')
            .map((part) => {
                const split = part.indexOf('=');
                return [part.slice(0, split), part.slice(split + 1)];
            }),
    );
    const ui = {};
    if (photos.some((photo) => photo.id === Number(words.get('photo')))) ui.photo = Number(words.get('photo'));
    const view = (words.get('view') ?? '').split(',').map(Number);
    if (words.get('view') === 'fit') ui.zoom = 'fit';
    else if (view.length === 3 && view.every(Number.isFinite) && view[0] > 0) [ui.zoom, ...ui.centre] = view;
    const divider = Number(words.get('divider'));
    if (words.get('divider') === 'off') ui.isComparing = false;
    else if (words.has('divider') && divider >= 0 && divider <= 1) Object.assign(ui, { isComparing: true, divider });
    try {
        const steps = words.has('chain') ? stepsFromText(decodeURIComponent(words.get('chain')), catalogue) : [];
        return { ui, steps, message: '' };
    } catch (error) {
        return { ui, steps: [], message: `The chain in the address cannot be read: ${error.message}` };
    }
}

/** Keeps the address up to date, and applies one that is pasted. */
export function followAddress(store, catalogue, photos, onMessage) {
    let timer = 0;
    const write = () => {
        timer = 0;
        history.replaceState(null, '', writeAddress(store));
    };
    const later = () => {
        if (!timer) timer = setTimeout(write, DELAY);
    };
    store.addEventListener('steps', later);
    store.addEventListener('ui', later);
    addEventListener('pagehide', write);
    addEventListener('hashchange', () => {
        if (location.hash === writeAddress(store)) return;
        const { ui, steps, message } = readAddress(location.hash, catalogue, photos);
        if (message) return onMessage(message);
        store.setUi({ ...ui, tool: null, selected: steps.at(-1)?.id ?? 0 });
        store.setSteps(steps);
    });
}
