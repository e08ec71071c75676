// Activates tools, and shows the active tool's options in a bar over the picture.

import { getFaces } from './api.js';
import { BrushTool, getBrushColour } from './brush-tool.js';
import { announce, byId, h, icon } from './dom.js';
import { HANDLE_TOOLS } from './handle-tools.js';
import { PickTool } from './pick-tool.js';
import { makeStep } from './recipe.js';
import { CUT_OUT, getPick, getTools } from './tools.js';

const BRUSHES = [4, 8, 12, 16, 24, 32, 48, 64, 96, 128];

export class Toolbox {
    #store;
    #catalogue;
    #viewer;
    #key = '';
    #tool = null;
    #bar = byId('tool-bar');

    constructor(store, catalogue, viewer) {
        this.#store = store;
        this.#catalogue = catalogue;
        this.#viewer = viewer;
        store.addEventListener('ui', () => this.#update());
        store.addEventListener('steps', () => {
            this.#update();
            this.#syncBar();
            viewer.invalidate();
        });
    }

    get tool() {
        return this.#tool;
    }

    leave() {
        if (this.#store.ui.tool) this.#store.setUi({ tool: null });
    }

    #update() {
        const { tool, photo } = this.#store.ui;
        const key = JSON.stringify([tool, tool && photo]);
        if (key === this.#key) return;
        this.#key = key;
        this.#tool = this.#viewer.tool = tool ? this.#make(tool) : null;
        this.#viewer.clearLayer('mask');
        this.#showBar();
        if (this.#tool) announce(this.#tool.hint);
    }

    /** @returns {import('./handle-tools.js').Context} */
    #makeContext(id) {
        const store = this.#store;
        const step = () => store.find(id);
        const field = (key) => this.#catalogue.findField(step().effect, key);
        return {
            step,
            get: (key) => step()?.settings[key] ?? field(key)?.default,
            set: (values, isDragging) =>
                store.setSettings(
                    step(),
                    Object.entries(values).map(([key, value]) => [field(key), value]),
                    isDragging ? `${id}:tool` : null,
                ),
            settle: () => store.settle(),
            setExtra: (extra) => store.changeStep(id, () => ({ extra })),
            changeStrokes: (change) =>
                store.changeStep(id, ({ strokes }) => ({ strokes: change(strokes), second: '' })),
            leave: () => this.leave(),
        };
    }

    #make({ step: id, index, pick }) {
        const step = this.#store.find(id);
        const context = this.#makeContext(id);
        if (pick) return new PickTool(context, { key: pick, ...getPick(step.effect, pick) }, this.#viewer);
        const tool = getTools(step.effect)[index];
        if (tool.kind === 'strokes') return new BrushTool(context, tool);
        const made = new HANDLE_TOOLS[tool.kind](context, tool);
        if (tool.kind === 'faces') this.#findFaces(made);
        return made;
    }

    async #findFaces(tool) {
        try {
            tool.setFaces(await getFaces(this.#store.ui.photo));
        } catch (error) {
            tool.hint = error.message;
        }
        if (this.#tool !== tool) return;
        this.#showBar();
        this.#viewer.invalidate();
        announce(tool.hint);
    }

    #showBar() {
        this.#bar.hidden = !this.#tool;
        if (!this.#tool) return this.#bar.replaceChildren();
        const done = h('button', { type: 'button', class: 'button primary', onclick: () => this.leave() }, 'Done');
        const options =
            this.#tool instanceof BrushTool
                ? this.#makeBrushOptions()
                : this.#tool.count > 0
                  ? this.#makeFaceOptions()
                  : [];
        this.#bar.replaceChildren(h('span', { class: 'hint' }, this.#tool.hint), ...options, done);
    }

    #getFace() {
        return this.#store.find(this.#store.ui.tool.step).extra.face ?? 0;
    }

    #syncBar() {
        if (!this.#tool) return;
        this.#bar.querySelector('.hint').textContent = this.#tool.hint;
        const select = this.#bar.querySelector('#face');
        if (select) select.value = String(this.#getFace());
    }

    #makeBrushOptions() {
        const tool = this.#tool;
        const { step: id, index } = this.#store.ui.tool;
        const step = this.#store.find(id);
        const buttons = tool.brushes.map(({ label }, brush) => {
            const dot = brush ? h('span', { class: 'dot', 'aria-hidden': 'true' }) : icon('eraser');
            if (brush) dot.style.background = getBrushColour(brush);
            return h(
                'button',
                {
                    type: 'button',
                    class: 'tool-button',
                    'aria-pressed': String(tool.brush === brush),
                    'data-brush': brush,
                    onclick: () => this.chooseBrush(brush),
                },
                dot,
                label,
            );
        });
        const size = h('input', {
            type: 'range',
            id: 'brush-size',
            min: 0,
            max: BRUSHES.length - 1,
            step: 1,
            value: BRUSHES.indexOf(tool.diameter),
            oninput: () => {
                tool.diameter = BRUSHES[size.valueAsNumber];
                this.#viewer.invalidate();
            },
        });
        const sizeLabel = h('label', { htmlFor: 'brush-size', class: 'brush-size' }, 'Size', size);
        const cutOut =
            getTools(step.effect)[index].hasCutOut && this.#store.steps.at(-1).id === id
                ? h('button', { type: 'button', class: 'button', onclick: () => this.#cutOut() }, 'Cut out')
                : null;
        return [
            h('span', { class: 'brushes', role: 'group', 'aria-label': 'Brush' }, buttons.slice(1), buttons[0]),
            sizeLabel,
            cutOut,
        ].filter(Boolean);
    }

    chooseBrush(brush) {
        if (!(this.#tool instanceof BrushTool) || brush >= this.#tool.brushes.length) return;
        this.#tool.brush = brush;
        this.#showBar();
        this.#viewer.invalidate();
    }

    resizeBrush(by) {
        if (!(this.#tool instanceof BrushTool)) return;
        const at = BRUSHES.indexOf(this.#tool.diameter) + by;
        this.#tool.diameter = BRUSHES[Math.min(BRUSHES.length - 1, Math.max(0, at))];
        this.#showBar();
        this.#viewer.invalidate();
    }

    /** Cuts the masked subject out onto a transparent background, soft hair included. */
    #cutOut() {
        const steps = CUT_OUT.map(([effect, settings]) => makeStep(effect, settings));
        this.#store.setSteps([...this.#store.steps, ...steps]);
        this.#store.setUi({ tool: null, selected: 0 });
    }

    #makeFaceOptions() {
        const tool = this.#tool;
        const select = h(
            'select',
            { id: 'face', 'aria-label': 'Face', onchange: () => tool.choose(Number(select.value)) },
            h('option', { value: 0 }, 'All faces'),
            Array.from({ length: tool.count }, (_, i) => h('option', { value: i + 1 }, `Face ${i + 1}`)),
        );
        select.value = String(this.#getFace());
        return [select];
    }
}
