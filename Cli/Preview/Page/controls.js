// One control per setting, generated from its description in the catalogue.

import { getGroupOfKey, toWords } from './catalogue.js';
import { h, icon, iconButton } from './dom.js';
import { makeScale } from './scale.js';
import { makeStopsEditor } from './stops.js';

/**
 * @typedef {import('./catalogue.js').Field} Field
 * @typedef {{id: string, size: [number, number], get: () => any, set: (value: any, isDragging?: boolean) => void,
 *            settle: () => void, pick?: {label: string, start: () => void, isOn: () => boolean}}} Binding
 * @typedef {{element: HTMLElement, sync: () => void}} Control
 */

// Abbreviated where the sign is well known; a fraction is a number from 0 to 1, and its explanation says of what.
const UNITS = { percent: '%', pixels: 'px', degrees: '°', factor: '×', fraction: '' };
const SIDES = ['Left', 'Right', 'Top', 'Bottom'];

/** Label, number and unit in a row, the slider below, and the setting's description. @returns {Control} */
function frame(field, binding, inputs, below, sync) {
    const reset = iconButton('reset', `Reset ${toWords(field.key)}`, () => binding.set(undefined), {
        class: 'icon-button reset',
    });
    const label = inputs.length
        ? h('label', { htmlFor: inputs[0].id || binding.id, class: 'name', title: field.key }, toWords(field.key))
        : h('span', { class: 'name', id: `${binding.id}-label`, title: field.key }, toWords(field.key));
    label.addEventListener('dblclick', () => binding.set(undefined));
    const isNumber = inputs[0]?.type === 'number';
    const unit = isNumber ? h('span', { class: 'unit' }, UNITS[field.unit] ?? field.unit) : null;
    const element = h(
        'div',
        { class: 'control', 'data-key': field.key },
        h('div', { class: 'head' }, label, reset, ...inputs, unit),
        ...below,
        h('p', { class: 'explanation', id: `${binding.id}-about` }, field.summary),
    );
    for (const input of element.querySelectorAll('input, select, textarea')) {
        input.setAttribute('aria-describedby', `${binding.id}-about`);
    }
    return {
        element,
        sync: () => {
            reset.style.visibility =
                JSON.stringify(binding.get()) === JSON.stringify(field.default) ? 'hidden' : 'visible';
            sync();
        },
    };
}

function makeNumber(field, binding) {
    const scale = makeScale(field, binding.size);
    const limit = (value) => Math.min(field.max ?? Infinity, Math.max(field.min ?? -Infinity, value));
    const number = h('input', {
        type: 'number',
        id: binding.id,
        class: scale ? 'number' : 'number wide',
        min: field.min ?? '',
        max: field.max ?? '',
        step: field.type === 'int' ? 1 : 'any',
        inputMode: 'decimal',
        onchange: () => {
            const value = number.valueAsNumber;
            if (Number.isFinite(value)) binding.set(limit(field.type === 'int' ? Math.round(value) : value));
            sync();
        },
        onkeydown: (event) => {
            const direction = { ArrowUp: 1, ArrowDown: -1 }[event.key];
            if (!direction || !scale) return;
            event.preventDefault();
            const step = scale.valueStep * (event.shiftKey ? 10 : 1);
            binding.set(limit(Number((binding.get() + direction * step).toPrecision(10))), true);
        },
        onkeyup: (event) => event.key.startsWith('Arrow') && binding.settle(),
    });
    const range =
        scale &&
        h('input', {
            type: 'range',
            min: scale.min,
            max: scale.max,
            step: scale.step,
            'aria-label': toWords(field.key),
            oninput: () => binding.set(scale.toValue(range.valueAsNumber), true),
            onchange: () => binding.settle(),
            ondblclick: () => binding.set(undefined),
        });
    const sync = () => {
        const value = binding.get();
        if (document.activeElement !== number || number.valueAsNumber !== value) number.value = value;
        if (!range) return;
        const way = (at) => ((at - scale.min) / (scale.max - scale.min)) * 100;
        range.value = scale.toPosition(value);
        range.setAttribute('aria-valuetext', `${value} ${field.unit}`.trim());
        const from = way(scale.toPosition(field.min < 0 && field.default === 0 ? 0 : field.min)),
            to = way(range.valueAsNumber);
        range.style.setProperty('--from', `${Math.min(from, to)}%`);
        range.style.setProperty('--to', `${Math.max(from, to)}%`);
    };
    return frame(field, binding, [number], range ? [range] : [], sync);
}

function makeCheckBox(field, binding) {
    const box = h('input', {
        type: 'checkbox',
        id: binding.id,
        class: 'switch',
        onchange: () => binding.set(box.checked),
    });
    return frame(field, binding, [box], [], () => (box.checked = binding.get()));
}

function makeChoice(field, binding) {
    const select = h(
        'select',
        { id: binding.id, onchange: () => binding.set(select.value) },
        field.values.map(({ name }) => h('option', { value: name }, toWords(name))),
    );
    return frame(field, binding, [select], [], () => (select.value = binding.get()));
}

function makeText(field, binding) {
    const input = h('input', {
        type: 'text',
        id: binding.id,
        class: 'text',
        spellcheck: false,
        autocomplete: 'off',
        onchange: () => binding.set(input.value.trim() || undefined),
    });
    return frame(field, binding, [input], [], () => {
        if (document.activeElement !== input) input.value = binding.get();
    });
}

function makeJson(field, binding) {
    const area = h('textarea', {
        id: binding.id,
        rows: 2,
        spellcheck: false,
        onchange: () => {
            area.setCustomValidity('');
            try {
                binding.set(area.value.trim() ? JSON.parse(area.value) : undefined);
            } catch {
                area.setCustomValidity('This is not JSON.');
            }
            area.reportValidity();
        },
    });
    return frame(field, binding, [], [area], () => {
        area.setAttribute('aria-label', toWords(field.key));
        if (document.activeElement !== area) area.value = binding.get() === '' ? '' : JSON.stringify(binding.get());
    });
}

function makeColour(field, binding) {
    const hasAlpha = field.default.length > 7;
    const colour = () => String(binding.get()).slice(0, 7);
    const alpha = () => (hasAlpha ? String(binding.get()).slice(7) || 'ff' : '');
    const input = h('input', {
        type: 'color',
        id: binding.id,
        oninput: () => binding.set(input.value + alpha(), true),
        onchange: () => binding.settle(),
    });
    const text = h('input', {
        type: 'text',
        class: 'hex',
        spellcheck: false,
        'aria-label': `${toWords(field.key)} as #RRGGBB`,
        maxLength: 7,
        onchange: () => {
            if (/^#[0-9a-f]{6}$/i.test(text.value.trim())) binding.set(text.value.trim().toLowerCase() + alpha());
            text.value = colour();
        },
    });
    const opacity = hasAlpha
        ? h('input', {
              type: 'range',
              min: 0,
              max: 255,
              'aria-label': `${toWords(field.key)}: opacity`,
              oninput: () => binding.set(colour() + opacity.valueAsNumber.toString(16).padStart(2, '0'), true),
              onchange: () => binding.settle(),
          })
        : null;
    const { pick } = binding;
    const dropper = pick
        ? h('button', { type: 'button', class: 'tool-button', onclick: pick.start }, icon('dropper'), pick.label)
        : null;
    return frame(field, binding, [input, text], [opacity, dropper].filter(Boolean), () => {
        input.value = colour();
        if (document.activeElement !== text) text.value = colour();
        if (opacity) {
            opacity.value = Number.parseInt(alpha(), 16);
            opacity.style.setProperty('--from', '0%');
            opacity.style.setProperty('--to', `${(opacity.valueAsNumber / 255) * 100}%`);
        }
        dropper?.setAttribute('aria-pressed', String(pick.isOn()));
    });
}

function makeList(field, binding) {
    const inputs = field.default.map((_, i) =>
        h('input', {
            type: 'number',
            step: 1,
            class: 'number',
            'aria-label': `${toWords(field.key)}: ${SIDES[i] ?? i + 1}`,
            onchange: (event) => {
                const values = [...binding.get()];
                values[i] = Math.round(event.target.valueAsNumber) || 0;
                binding.set(values);
            },
        }),
    );
    const row = h(
        'div',
        { class: 'sides' },
        inputs.map((input, i) => h('label', {}, h('span', {}, SIDES[i] ?? ''), input)),
    );
    return frame(field, binding, [], [row], () => inputs.forEach((input, i) => (input.value = binding.get()[i])));
}

function makeMap(field, binding) {
    const editor = makeStopsEditor(field, binding);
    return frame(field, binding, [], [editor.element], editor.sync);
}

const MAKERS = {
    int: makeNumber,
    double: makeNumber,
    bool: makeCheckBox,
    enum: makeChoice,
    color: makeColour,
    list: makeList,
    map: makeMap,
    json: makeJson,
};

/** @param {Field} field @param {Binding} binding @returns {Control} */
function makeControl(field, binding) {
    return (MAKERS[field.type] ?? makeText)(field, binding);
}

const LARGE = 6; // larger groups are initially closed
const BY_HAND = 'Given by hand'; // values that are normally determined automatically
const openGroups = new Map();

/** Controls for all settings, those of a group together. @returns {Control} */
export function makeControls(effect, fields, bind) {
    const controls = [];
    const element = h('div', { class: 'controls' });
    const groups = new Map([['', element]]);
    for (const field of fields) {
        const group = field.type === 'json' ? BY_HAND : getGroupOfKey(field.key);
        if (!groups.has(group)) {
            const size = group === BY_HAND ? Infinity : fields.filter((any) => getGroupOfKey(any.key) === group).length;
            const name = `${effect}.${group}`;
            const details = h(
                'details',
                {
                    open: openGroups.get(name) ?? size <= LARGE,
                    class: 'group',
                    ontoggle: () => openGroups.set(name, details.open),
                },
                h('summary', {}, toWords(group)),
            );
            element.append(details);
            groups.set(group, details);
        }
        const control = makeControl(field, bind(field));
        controls.push(control);
        groups.get(group).append(control.element);
    }
    if (!fields.length) element.append(h('p', { class: 'quiet' }, 'This effect has no settings.'));
    return { element, sync: () => controls.forEach((control) => control.sync()) };
}
