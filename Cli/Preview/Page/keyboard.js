// Keyboard shortcuts, as listed in the help.

import { byId } from './dom.js';

const ARROWS = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
const PAN = 60; // CSS pixels per key press

const isTyping = (target) => target.matches('textarea, select, input:not([type=range]):not([type=checkbox])');

/** @param {object} page everything that a key may act on */
export function bindKeys({ store, viewer, preview, toolbox, chain, dialogs, photos }) {
    const peek = (isPeeking) => {
        if (viewer.isPeeking === isPeeking) return;
        viewer.isPeeking = isPeeking;
        viewer.invalidate();
        preview.update();
    };
    const plain = {
        '/': () => byId('effect-search').focus(),
        '?': () => byId('help-dialog').showModal(),
        f: () => viewer.setZoom('fit'),
        1: () => viewer.setZoom(1),
        2: () => viewer.setZoom(2),
        '+': () => viewer.stepZoom(1),
        '=': () => viewer.stepZoom(1),
        '-': () => viewer.stepZoom(-1),
        d: () => store.setUi({ isComparing: !store.ui.isComparing }),
        b: () => peek(true),
        ',': photos.previous,
        '.': photos.next,
        '[': () => toolbox.resizeBrush(-1),
        ']': () => toolbox.resizeBrush(1),
        s: () => toolbox.chooseBrush(1),
        a: () => toolbox.chooseBrush(2),
        e: () => toolbox.chooseBrush(0),
    };
    const withControl = {
        z: () => store.undo(),
        y: () => store.redo(),
        s: dialogs.openSave,
    };
    const inChain = (event, item) => {
        const id = Number(item.dataset.id);
        if (event.altKey && event.key === 'ArrowUp') chain.moveStep(id, -1);
        else if (event.altKey && event.key === 'ArrowDown') chain.moveStep(id, 1);
        else if (event.key === 'Delete') chain.removeStep(id);
        else return false;
        return true;
    };
    const act = (event) => {
        const { target, key } = event;
        if (event.ctrlKey || event.metaKey) {
            if (event.altKey || (isTyping(target) && key !== 's')) return false;
            if (key.toLowerCase() === 'z' && event.shiftKey) return (store.redo(), true);
            return withControl[key] ? (withControl[key](), true) : false;
        }
        if (isTyping(target)) return false;
        const item = target.closest('#chain > li');
        if (item && inChain(event, item)) return true;
        if (event.altKey) return false;
        if (key === 'Escape' && store.ui.tool) return (toolbox.leave(), true);
        if (target.id === 'stage' && ARROWS[key]) return (viewer.pan(...ARROWS[key].map((way) => way * PAN)), true);
        if (key === ' ' && target.id === 'stage') return (viewer.isPanKeyDown = true);
        return plain[key] ? (plain[key](), true) : false;
    };
    addEventListener('keydown', (event) => {
        if (document.querySelector('dialog[open]')) return;
        if (act(event)) event.preventDefault();
    });
    addEventListener('keyup', ({ key }) => {
        if (key === 'b') peek(false);
        if (key === ' ') viewer.isPanKeyDown = false;
    });
    addEventListener('blur', () => peek(false));
    const original = byId('original');
    original.addEventListener('pointerdown', () => peek(true));
    for (const type of ['pointerup', 'pointerleave', 'pointercancel'])
        original.addEventListener(type, () => peek(false));
}
