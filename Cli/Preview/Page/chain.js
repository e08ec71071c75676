// The list of steps: adding, reordering, switching off and removing them; the selected one shows its tools and
// controls.

import { toWords } from './catalogue.js';
import { makeControls } from './controls.js';
import { announce, byId, h, icon, iconButton } from './dom.js';
import { isComplete, makeStep } from './recipe.js';
import { getPick, getTools } from './tools.js';

export class ChainList {
    #store;
    #catalogue;
    #photos;
    #preview;
    #list = byId('chain');
    #body = null;
    #bodyKey = '';
    #shape = '';

    constructor({ store, catalogue, photos, preview }) {
        this.#store = store;
        this.#catalogue = catalogue;
        this.#photos = photos;
        this.#preview = preview;
        store.addEventListener('steps', () => this.#show());
        store.addEventListener('ui', ({ detail }) => {
            if (detail.includes('selected')) this.#show();
            else if (detail.includes('tool')) this.#body?.sync();
        });
        preview.addEventListener('sizes', () => this.#show());
        byId('clear').addEventListener('click', () => {
            store.setSteps([]);
            announce('All steps removed.');
        });
        this.#show();
    }

    #show() {
        const { steps, ui } = this.#store;
        const chosen = steps.find((step) => step.id === ui.selected);
        const hasSameBody = this.#keepBody(chosen);
        // A slider that is being dragged must stay in place in the document.
        const shape = JSON.stringify([
            ui.selected,
            ...steps.map((step) => [step.id, step.effect, step.isOff, isComplete(step, this.#catalogue)]),
        ]);
        if (shape === this.#shape && hasSameBody) return void this.#body?.sync();
        this.#shape = shape;
        const focus = this.#rememberFocus();
        byId('clear').disabled = !steps.length;
        byId('chain-empty').hidden = steps.length > 0;
        this.#list.replaceChildren(...steps.map((step, i) => this.#makeItem(step, i, step === chosen)));
        this.#body?.sync();
        focus();
    }

    /** The list is rebuilt; keyboard focus stays where it was. */
    #rememberFocus() {
        const active = document.activeElement;
        const item = active?.closest?.('#chain > li');
        if (!item) return () => {};
        const part = active.dataset.part,
            id = item.dataset.id;
        return () => {
            if (document.contains(active) && part === undefined) return active.focus({ preventScroll: true });
            this.#list
                .querySelector(`li[data-id="${id}"] [data-part="${part ?? 'name'}"]`)
                ?.focus({ preventScroll: true });
        };
    }

    /** Controls are kept as long as their step is selected, so that a slider survives its own changes. */
    #keepBody(step) {
        const size = step ? this.#preview.getSizeBefore(step) : [1, 1];
        const key = step ? JSON.stringify([step.id, step.effect, size]) : '';
        if (key === this.#bodyKey) return true;
        this.#bodyKey = key;
        this.#body = step ? this.#makeBody(step, size) : null;
        return false;
    }

    #makeItem(step, index, isChosen) {
        const name = toWords(step.effect);
        const part = (value) => ({ 'data-part': value });
        const grip = h('span', { class: 'grip', title: 'Drag to another place', 'aria-hidden': 'true' }, icon('grip'));
        grip.addEventListener('pointerdown', (event) => this.#dragStep(event, step));
        const toggle = h('input', {
            type: 'checkbox',
            class: 'switch',
            checked: !step.isOff,
            'aria-label': `${name} is on`,
            ...part('switch'),
            onchange: () => this.#store.changeStep(step.id, () => ({ isOff: !step.isOff })),
        });
        const title = h(
            'button',
            {
                type: 'button',
                class: 'step-name',
                'aria-expanded': String(isChosen),
                ...part('name'),
                onclick: () => this.#store.setUi({ selected: isChosen ? 0 : step.id, tool: null }),
            },
            h('span', { class: 'step-number' }, `${index + 1}`),
            name,
            icon('chevron'),
        );
        const remove = iconButton('trash', `Remove ${name}`, () => this.removeStep(step.id), part('remove'));
        const isWaiting = !isComplete(step, this.#catalogue);
        return h(
            'li',
            { 'data-id': step.id, class: `step${isChosen ? ' chosen' : ''}${step.isOff ? ' off' : ''}` },
            h('div', { class: 'step-head' }, grip, toggle, title, remove),
            isWaiting ? h('p', { class: 'waiting' }, 'Waits for a second picture.') : null,
            isChosen ? this.#body.element : null,
        );
    }

    #makeBody(step, size) {
        const store = this.#store,
            id = step.id;
        const current = () => store.find(id);
        const effect = this.#catalogue.find(step.effect);
        const tools = getTools(step.effect).map((tool, index) => {
            const isOn = () => store.ui.tool?.step === id && store.ui.tool.index === index;
            const button = h(
                'button',
                {
                    type: 'button',
                    class: 'tool-button',
                    onclick: () => store.setUi({ tool: isOn() ? null : { step: id, index } }),
                },
                icon(tool.icon),
                tool.label,
            );
            return { button, sync: () => button.setAttribute('aria-pressed', String(isOn())) };
        });
        const bind = (field) => ({
            id: `step-${id}-${field.key.replace('.', '-')}`,
            size,
            get: () => current()?.settings[field.key] ?? field.default,
            set: (value, isDragging) =>
                store.setSetting(current(), field, value, isDragging ? `${id}:${field.key}` : null),
            settle: () => store.settle(),
            pick:
                field.type !== 'color'
                    ? undefined
                    : {
                          label: getPick(step.effect, field.key).label,
                          start: () =>
                              store.setUi({
                                  tool:
                                      store.ui.tool?.pick === field.key && store.ui.tool.step === id
                                          ? null
                                          : { step: id, pick: field.key },
                              }),
                          isOn: () => store.ui.tool?.step === id && store.ui.tool.pick === field.key,
                      },
        });
        const further = this.#makeFurther(effect, id);
        const controls = makeControls(step.effect, this.#catalogue.getShownFields(step.effect), bind);
        const move = { '-1': null, 1: null };
        for (const [by, name, label] of [
            [-1, 'up', 'Move up'],
            [1, 'down', 'Move down'],
        ]) {
            move[by] = h(
                'button',
                { type: 'button', class: 'link', 'data-part': name, onclick: () => this.moveStep(id, by) },
                icon(name),
                label,
            );
        }
        const copy = h(
            'button',
            { type: 'button', class: 'link', 'data-part': 'duplicate', onclick: () => this.#duplicate(current()) },
            icon('copy'),
            'Duplicate',
        );
        const element = h(
            'div',
            { class: 'step-body' },
            h('p', { class: 'summary' }, effect?.summary ?? 'This version does not have this effect.'),
            tools.length
                ? h(
                      'div',
                      { class: 'tools' },
                      tools.map(({ button }) => button),
                  )
                : null,
            further?.element,
            controls.element,
            h('div', { class: 'step-actions' }, move[-1], move[1], copy),
        );
        return {
            element,
            sync: () => {
                if (!current()) return;
                const at = store.steps.indexOf(current());
                move[-1].disabled = at === 0;
                move[1].disabled = at === store.steps.length - 1;
                tools.forEach((tool) => tool.sync());
                further?.sync();
                controls.sync();
            },
        };
    }

    /** The second picture of an effect: what was painted, or one of the photographs. */
    #makeFurther(effect, id) {
        if (!effect || effect.effect === 'Original' || !effect.further) return null;
        const canPaint = getTools(effect.effect).some((tool) => tool.kind === 'strokes');
        const select = h('select', {
            id: `step-${id}-second`,
            onchange: () => this.#store.changeStep(id, () => ({ second: select.value, strokes: [] })),
        });
        const label = h('label', { htmlFor: select.id, class: 'name' }, 'Second picture');
        const clear = iconButton('trash', 'Remove all strokes', () =>
            this.#store.changeStep(id, () => ({ strokes: [] })),
        );
        const sync = () => {
            const step = this.#store.find(id);
            const isPainted = step.strokes.length > 0;
            const none = isPainted
                ? `Painted here (${step.strokes.length})`
                : canPaint
                  ? 'Paint it, or choose …'
                  : 'None';
            select.replaceChildren(
                h('option', { value: '' }, none),
                ...this.#photos.map((photo) => h('option', { value: `photo:${photo.id}` }, photo.name)),
            );
            select.value = step.second;
            clear.hidden = !isPainted;
        };
        return { element: h('div', { class: 'control' }, h('div', { class: 'head' }, label, clear, select)), sync };
    }

    removeStep(id) {
        const at = this.#store.steps.findIndex((step) => step.id === id);
        if (at < 0) return;
        const steps = this.#store.steps.filter((step) => step.id !== id);
        const wasChosen = this.#store.ui.selected === id;
        announce(`${toWords(this.#store.steps[at].effect)} removed.`);
        this.#store.setSteps(steps);
        const next = steps[Math.min(at, steps.length - 1)]?.id ?? 0;
        if (wasChosen) this.#store.setUi({ selected: next });
        (this.#list.querySelector(`li[data-id="${next}"] [data-part="name"]`) ?? byId('effect-search')).focus();
    }

    moveStep(id, by) {
        const steps = [...this.#store.steps];
        const from = steps.findIndex((step) => step.id === id),
            to = from + by;
        if (from < 0 || to < 0 || to >= steps.length) return;
        steps.splice(to, 0, ...steps.splice(from, 1));
        this.#store.setSteps(steps);
        announce(`${toWords(steps[to].effect)} is step ${to + 1} now.`);
    }

    #duplicate(step) {
        const copy = {
            ...makeStep(step.effect, { ...step.settings }),
            strokes: step.strokes,
            second: step.second,
            extra: step.extra,
        };
        const steps = [...this.#store.steps];
        steps.splice(steps.findIndex((any) => any.id === step.id) + 1, 0, copy);
        this.#store.setSteps(steps);
        this.#store.setUi({ selected: copy.id, tool: null });
    }

    #dragStep(event, step) {
        if (event.button !== 0) return;
        event.preventDefault();
        const item = event.target.closest('li');
        const items = [...this.#list.children];
        const from = items.indexOf(item);
        let to = from;
        const middle = (each) => {
            const box = each.querySelector('.step-head').getBoundingClientRect();
            return (box.top + box.bottom) / 2;
        };
        const move = ({ clientY }) => {
            to = items.filter((each) => each !== item && middle(each) < clientY).length;
            items.forEach((each) => each.classList.remove('drop-before', 'drop-after'));
            const others = items.filter((each) => each !== item);
            if (to < others.length) others[to].classList.add('drop-before');
            else others.at(-1)?.classList.add('drop-after');
        };
        const stop = () => {
            removeEventListener('pointermove', move);
            removeEventListener('pointerup', stop);
            removeEventListener('pointercancel', stop);
            items.forEach((each) => each.classList.remove('drop-before', 'drop-after', 'dragged'));
            if (to !== from) this.moveStep(step.id, to - from);
        };
        item.classList.add('dragged');
        addEventListener('pointermove', move);
        addEventListener('pointerup', stop);
        addEventListener('pointercancel', stop);
    }
}
