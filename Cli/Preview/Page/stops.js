// Colour stops: a bar with handles, and a table with the same positions and colours.

import { h, iconButton } from './dom.js';

const DEFAULT_SPAN = [0, 255];

function parse(text) {
    return String(text)
        .split(',')
        .map((part) => part.trim().split(':'))
        .filter(([, colour]) => /^#[0-9a-f]{6}/i.test(colour ?? ''))
        .map(([position, colour]) => ({ position: Number(position), colour }))
        .sort((a, b) => a.position - b.position);
}

const format = (stops) => stops.map(({ position, colour }) => `${position}:${colour}`).join(',');

function mix(stops, position) {
    const after = stops.find((stop) => stop.position >= position) ?? stops.at(-1);
    const before = stops.findLast((stop) => stop.position <= position) ?? stops[0];
    if (!after) return '#808080';
    const part = after === before ? 0 : (position - before.position) / (after.position - before.position);
    const level = (colour, i) => Number.parseInt(colour.slice(1 + 2 * i, 3 + 2 * i), 16);
    const levels = [0, 1, 2].map((i) =>
        Math.round(level(before.colour, i) * (1 - part) + level(after.colour, i) * part),
    );
    return `#${levels.map((each) => each.toString(16).padStart(2, '0')).join('')}`;
}

/** @returns {import('./controls.js').Control} */
export function makeStopsEditor(field, binding) {
    const [min, max] = [field.min ?? DEFAULT_SPAN[0], field.max ?? DEFAULT_SPAN[1]];
    const alpha = field.summary.includes('AA') ? 'ff' : '';
    const bar = h('div', { class: 'stops-bar', title: 'Click to add a stop' });
    const rows = h('div', { class: 'stops-rows' });
    const write = (stops, isDragging) => binding.set(format(stops), isDragging);
    const stopsNow = () => parse(binding.get());
    const freePosition = (stops, wanted) => {
        const taken = new Set(stops.map((stop) => stop.position));
        for (let off = 0; off <= max - min; ++off) {
            for (const position of [wanted + off, wanted - off]) {
                if (position >= min && position <= max && !taken.has(position)) return position;
            }
        }
        return null;
    };
    const positionOf = (event) => {
        const box = bar.getBoundingClientRect();
        return Math.round(Math.min(1, Math.max(0, (event.clientX - box.left) / box.width)) * (max - min) + min);
    };
    const add = (wanted) => {
        const stops = stopsNow(),
            position = freePosition(stops, wanted);
        if (position !== null)
            write(
                [...stops, { position, colour: mix(stops, position) + alpha }].sort((a, b) => a.position - b.position),
            );
    };

    let held = -1;
    bar.addEventListener('pointerdown', (event) => {
        if (event.target === bar) return add(positionOf(event));
        held = Number(event.target.dataset.stop);
        bar.setPointerCapture(event.pointerId);
    });
    bar.addEventListener('pointermove', (event) => {
        if (held < 0) return;
        const stops = stopsNow();
        const low = held > 0 ? stops[held - 1].position + 1 : min;
        const high = held + 1 < stops.length ? stops[held + 1].position - 1 : max;
        stops[held].position = Math.min(high, Math.max(low, positionOf(event)));
        write(stops, true);
    });
    for (const type of ['pointerup', 'pointercancel']) {
        bar.addEventListener(type, () => {
            held = -1;
            binding.settle();
        });
    }

    const makeRow = (index) => {
        const position = h('input', {
            type: 'number',
            class: 'number',
            min,
            max,
            step: 1,
            'aria-label': `Position of stop ${index + 1}`,
            onchange: () => {
                const stops = stopsNow();
                const [stop] = stops.splice(index, 1);
                stop.position = freePosition(
                    stops,
                    Math.min(max, Math.max(min, Math.round(position.valueAsNumber) || 0)),
                );
                write([...stops, stop].sort((a, b) => a.position - b.position));
            },
        });
        const colour = h('input', {
            type: 'color',
            'aria-label': `Colour of stop ${index + 1}`,
            oninput: () => {
                const stops = stopsNow();
                stops[index].colour = colour.value + stops[index].colour.slice(7);
                write(stops, true);
            },
            onchange: () => binding.settle(),
        });
        const remove = iconButton('close', `Remove stop ${index + 1}`, () =>
            write(stopsNow().filter((_, i) => i !== index)),
        );
        return { row: h('div', { class: 'stop-row' }, position, colour, remove), position, colour };
    };

    let made = [];
    const sync = () => {
        const stops = stopsNow();
        if (made.length !== stops.length) {
            made = stops.map((_, i) => makeRow(i));
            const middle = Math.round((min + max) / 2);
            rows.replaceChildren(
                ...made.map(({ row }) => row),
                iconButton('plus', 'Add a stop', () => add(middle)),
            );
        }
        const way = ({ position }) => ((position - min) / (max - min)) * 100;
        bar.replaceChildren(
            ...stops.map((stop, i) => {
                const handle = h('span', { class: 'stop', 'data-stop': i });
                handle.style.left = `${way(stop)}%`;
                handle.style.background = stop.colour;
                return handle;
            }),
        );
        bar.style.background =
            stops.length > 1
                ? `linear-gradient(to right, ${stops.map((stop) => `${stop.colour} ${way(stop)}%`).join(', ')})`
                : (stops[0]?.colour ?? '');
        stops.forEach((stop, i) => {
            if (document.activeElement !== made[i].position) made[i].position.value = stop.position;
            made[i].colour.value = stop.colour.slice(0, 7);
        });
    };
    return { element: h('div', { class: 'stops' }, bar, rows), sync };
}
