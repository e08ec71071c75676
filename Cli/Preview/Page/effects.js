// The list of effects by group, each with a preview of its result on the current photograph.

import { toWords } from './catalogue.js';
import { announce, byId, h, icon } from './dom.js';
import { makeStep } from './recipe.js';

const GROUP_NAMES = { Host: 'Building blocks' };
const GROUP_ICONS = { Faces: 'face', 'Neural networks': 'network' };

/** Adds a step at the end and opens it. */
export function addEffect(store, name) {
    const step = makeStep(name);
    store.setSteps([...store.steps, step]);
    store.setUi({ selected: step.id, tool: null });
    announce(`${toWords(name)} added as step ${store.steps.length}.`);
}

export function showEffects(store, catalogue, thumbnails) {
    const list = byId('effect-list'),
        search = byId('effect-search');
    const cards = [];
    for (const [group, effects] of catalogue.getGroups()) {
        const grid = h('ul', { class: 'cards' });
        const section = h('section', {}, h('h3', {}, GROUP_NAMES[group] ?? group), grid);
        for (const effect of effects) {
            const canvas =
                effect.isPreviewed && effect.kind === 'one-input'
                    ? h('canvas', { width: 4, height: 3, 'aria-hidden': 'true' })
                    : null;
            const about = effect.summary;
            const button = h(
                'button',
                {
                    type: 'button',
                    class: 'card',
                    title: about,
                    'data-effect': effect.effect,
                    onclick: () => addEffect(store, effect.effect),
                },
                canvas ?? h('span', { class: 'no-thumbnail' }, icon(GROUP_ICONS[group] ?? 'layers')),
                h('span', { class: 'card-name' }, toWords(effect.effect)),
            );
            const item = h('li', {}, button);
            grid.append(item);
            const text = `${effect.effect} ${toWords(effect.effect)} ${effect.summary} ${group}`.toLowerCase();
            cards.push({ effect, canvas, item, section, text });
        }
        list.append(section);
    }
    const none = h('p', { class: 'quiet', hidden: true }, 'No effect is called or described like that.');
    list.append(none);

    const filter = () => {
        const words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
        for (const card of cards) card.item.hidden = !words.every((word) => card.text.includes(word));
        for (const section of list.querySelectorAll('section')) {
            section.hidden = ![...section.querySelectorAll('li')].some((item) => !item.hidden);
        }
        const count = cards.filter((card) => !card.item.hidden).length;
        none.hidden = count > 0;
        setStop(cards.find((card) => !card.item.hidden)?.item.firstChild, cards);
        if (words.length) announce(`${count} effects`);
    };
    search.addEventListener('input', filter);
    search.addEventListener('keydown', (event) => {
        const found = cards.filter((card) => !card.item.hidden);
        if (event.key === 'Enter' && found.length) {
            event.preventDefault();
            addEffect(store, found[0].effect.effect);
            document.querySelector('#chain .chosen [data-part=name]')?.focus();
        } else if (event.key === 'ArrowDown' && found.length) {
            event.preventDefault();
            found[0].item.firstChild.focus();
        } else if (event.key === 'Escape' && search.value) {
            event.stopPropagation();
            search.value = '';
            filter();
        }
    });
    list.addEventListener('keydown', (event) => moveFocus(event, cards));
    list.addEventListener('focusin', (event) => setStop(event.target.closest('.card'), cards));
    setStop(cards[0]?.item.firstChild, cards);

    let shown = -1;
    const fill = () => {
        if (store.ui.photo === shown) return;
        shown = store.ui.photo;
        for (const { effect, canvas } of cards) {
            if (canvas) thumbnails.fill(canvas, shown, [{ effect: effect.effect }]);
        }
    };
    store.addEventListener('ui', fill);
    fill();
}

/** The list is a single Tab stop; the arrow keys move within it. */
function setStop(stop, cards) {
    if (stop) for (const { item } of cards) item.firstChild.tabIndex = item.firstChild === stop ? 0 : -1;
}

/** Arrow keys move between cards according to their layout. */
function moveFocus(event, cards) {
    const columns = 2;
    const by = { ArrowRight: 1, ArrowLeft: -1, ArrowDown: columns, ArrowUp: -columns }[event.key];
    if (!by) return;
    const shown = cards.filter((card) => !card.item.hidden).map((card) => card.item.firstChild);
    const at = shown.indexOf(document.activeElement);
    if (at < 0) return;
    event.preventDefault();
    shown[Math.min(shown.length - 1, Math.max(0, at + by))].focus();
}
