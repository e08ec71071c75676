// Dialogs for saving, the batch, the command and the recipe.

import * as api from './api.js';
import { announce, byId, h } from './dom.js';
import { follow } from './jobs.js';
import { getRunningSteps, stepsFromText, stepsToText, stepToJson } from './recipe.js';

const LOSSY = /\.(jpe?g|webp|avif|hei[cf]|jxl)$/i;

const stemOf = (name) => name.replace(/\.[^.]*$/, '');
const suffixOf = (name) => name.match(/\.[^.]*$/)?.[0] ?? '.png';

let toastTimer = 0;

export function toast(text) {
    byId('toast').textContent = text;
    byId('toast').hidden = false;
    clearTimeout(toastTimer);
    toastTimer = setTimeout(() => (byId('toast').hidden = true), 6000);
}

/** A dialog with a form: its inputs, the progress, and the result. */
class WorkDialog {
    #work = null;

    constructor(id, start) {
        this.dialog = byId(id);
        this.form = this.dialog.querySelector('form');
        this.outcome = this.dialog.querySelector('.outcome');
        this.progress = this.dialog.querySelector('progress');
        this.submit = this.form.querySelector('[type=submit]');
        this.dialog.querySelector('.cancel').addEventListener('click', () => this.#leave());
        this.dialog.addEventListener('cancel', (event) => {
            event.preventDefault();
            this.#leave();
        });
        this.form.addEventListener('submit', (event) => {
            event.preventDefault();
            this.#run(start);
        });
    }

    open() {
        this.say('');
        this.dialog.showModal();
    }

    say(text, isError = false) {
        this.outcome.textContent = text;
        this.outcome.classList.toggle('error', isError);
    }

    #leave() {
        if (this.#work) this.#work.cancel();
        else this.dialog.close();
    }

    async #run(start) {
        this.submit.disabled = true;
        this.say('');
        try {
            this.#work = follow(
                () => start(this.form),
                (state) => this.#follow(state),
            );
            const state = await this.#work.done;
            this.#tell(state);
        } catch (error) {
            this.say(error.message, true);
        }
        this.#work = null;
        this.submit.disabled = false;
        this.progress.hidden = true;
    }

    #follow({ done, total, stage }) {
        this.progress.hidden = false;
        if (total > 0) [this.progress.max, this.progress.value] = [total, done];
        else this.progress.removeAttribute('value');
        this.say(stage ?? '');
    }

    #tell({ state, files, notes, errors }) {
        const lines = [...(errors ?? []), ...(notes ?? [])];
        if (state === 'cancelled') return this.say('Cancelled.');
        if (state === 'failed') return this.say(lines.join('\n') || 'Nothing was written.', true);
        const text = files.length === 1 ? `Saved as ${files[0]}` : `${files.length} pictures saved`;
        toast([text, ...lines].join('\n'));
        if (errors?.length) this.say([text, ...lines].join('\n'), true);
        else this.dialog.close();
    }
}

function bindQuality(form, nameOf) {
    const { quality, target } = form.elements;
    const row = quality.closest('.row');
    const output = row.querySelector('output');
    const update = () => {
        row.hidden = !LOSSY.test(nameOf());
        output.value = quality.value;
        quality.style.setProperty('--to', `${quality.value}%`);
    };
    target.addEventListener('input', update);
    quality.addEventListener('input', update);
    return update;
}

/** @returns the commands of the toolbar, also available to the keyboard */
export function makeDialogs(store, catalogue, preview, photos) {
    const photoName = () => photos.find(({ id }) => id === store.ui.photo)?.name ?? 'photo.png';
    const qualityOf = ({ quality, target }) => (LOSSY.test(target.value) ? Number(quality.value) : null);

    const save = new WorkDialog('save-dialog', async ({ elements }) =>
        api.save({
            photo: store.ui.photo,
            chain: await preview.getChain(),
            target: elements.target.value.trim(),
            quality: qualityOf(elements),
            isOverwriting: elements.overwrite.checked,
        }),
    );
    const updateSave = bindQuality(save.form, () => save.form.elements.target.value);
    const batch = new WorkDialog('batch-dialog', async ({ elements }) =>
        api.runBatch({
            photos: photos.map(({ id }) => id),
            chain: await preview.getChain(),
            name: elements.target.value.trim(),
            quality: Number(elements.quality.value),
            isOverwriting: elements.overwrite.checked,
        }),
    );
    const updateBatch = bindQuality(batch.form, () => '.jpg');

    const openSave = () => {
        const { target } = save.form.elements;
        // Cut-outs are transparent, which JPEG does not support.
        const isCutOut = getRunningSteps(store.steps, catalogue).some(({ effect }) => effect === 'RemoveBackground');
        target.value = `${stemOf(photoName())}-new${isCutOut ? '.png' : suffixOf(photoName())}`;
        updateSave();
        save.open();
        target.focus();
        target.setSelectionRange(0, stemOf(target.value).length);
    };
    const openBatch = () => {
        byId('batch-count').textContent = `${photos.length} photographs`;
        updateBatch();
        batch.open();
    };

    const copy = async (text, what) => {
        try {
            await navigator.clipboard.writeText(text);
            toast(`${what} copied.`);
        } catch {
            toast('The browser did not let the text be copied; it can be selected here.');
        }
    };
    const openCommand = async () => {
        const text = byId('command-text');
        try {
            const target = `${stemOf(photoName())}-new${suffixOf(photoName())}`;
            const { command } = await api.getCommand({
                photo: store.ui.photo,
                chain: await preview.getChain(),
                target,
                quality: null,
            });
            text.textContent = command;
            byId('command-dialog').showModal();
            await copy(command, 'Command');
        } catch (error) {
            toast(error.message);
        }
    };
    byId('command-copy').addEventListener('click', () => copy(byId('command-text').textContent, 'Command'));

    const recipeForm = byId('recipe-dialog').querySelector('form');
    const recipeOutcome = byId('recipe-dialog').querySelector('.outcome');
    const openRecipe = () => {
        recipeOutcome.textContent = '';
        recipeForm.elements.target.value = `${stemOf(photoName())}.json`;
        byId('recipe-text').textContent = recipeText();
        byId('recipe-dialog').showModal();
    };
    const recipeText = () => JSON.stringify(getRunningSteps(store.steps, catalogue).map(stepToJson), null, 2);
    recipeForm.addEventListener('submit', async (event) => {
        event.preventDefault();
        const { target, overwrite } = recipeForm.elements;
        try {
            const { file } = await api.saveRecipe({
                chain: await preview.getChain(),
                target: target.value.trim(),
                isOverwriting: overwrite.checked,
            });
            toast(`Saved as ${file}`);
            byId('recipe-dialog').close();
        } catch (error) {
            recipeOutcome.textContent = error.message;
            recipeOutcome.classList.add('error');
        }
    });
    // A recipe for the command line cannot contain strokes, but one that this page opens again can.
    const download = () => {
        const link = h('a', {
            href: URL.createObjectURL(new Blob([stepsToText(store.steps)], { type: 'application/json' })),
            download: `${stemOf(photoName())}.json`,
        });
        link.click();
        setTimeout(() => URL.revokeObjectURL(link.href), 1000);
    };
    byId('download-recipe').addEventListener('click', download);
    byId('recipe-open').addEventListener('change', async (event) => {
        const [file] = event.target.files;
        event.target.value = '';
        if (!file) return;
        try {
            const steps = stepsFromText(await file.text(), catalogue);
            store.setSteps(steps);
            store.setUi({ selected: steps[0]?.id ?? 0, tool: null });
            byId('recipe-dialog').close();
            announce(`${steps.length} steps opened.`);
        } catch (error) {
            recipeOutcome.textContent = `${file.name}: ${error.message}`;
            recipeOutcome.classList.add('error');
        }
    });

    for (const dialog of document.querySelectorAll('dialog')) {
        dialog.querySelectorAll('.close').forEach((button) => button.addEventListener('click', () => dialog.close()));
    }
    byId('save').addEventListener('click', openSave);
    byId('batch').addEventListener('click', openBatch);
    byId('command').addEventListener('click', openCommand);
    byId('recipe').addEventListener('click', openRecipe);
    byId('help').addEventListener('click', () => byId('help-dialog').showModal());
    return { openSave, openBatch, openCommand, openRecipe };
}
