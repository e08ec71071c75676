// Assembles the page.

import { followAddress, readAddress } from './address.js';
import { getCatalogue, getPhotos } from './api.js';
import { Catalogue } from './catalogue.js';
import { ChainList } from './chain.js';
import { makeDialogs, toast } from './dialogs.js';
import { byId } from './dom.js';
import { showEffects } from './effects.js';
import { bindKeys } from './keyboard.js';
import { showPhotos } from './photos.js';
import { Preview } from './preview.js';
import { Store } from './store.js';
import { Thumbnails } from './thumbnails.js';
import { Toolbox } from './toolbox.js';
import { Viewer } from './viewer.js';

function bindBar(store, viewer) {
    const press = (id, action) => byId(id).addEventListener('click', action);
    press('undo', () => store.undo());
    press('redo', () => store.redo());
    press('fit', () => viewer.setZoom('fit'));
    press('full', () => viewer.setZoom(1));
    press('zoom-in', () => viewer.stepZoom(1));
    press('zoom-out', () => viewer.stepZoom(-1));
    press('compare', () => store.setUi({ isComparing: !store.ui.isComparing }));
    const update = () => {
        byId('undo').disabled = !store.canUndo;
        byId('redo').disabled = !store.canRedo;
        byId('fit').setAttribute('aria-pressed', String(store.ui.zoom === 'fit'));
        byId('full').setAttribute('aria-pressed', String(store.ui.zoom === 1));
        byId('compare').setAttribute('aria-pressed', String(store.ui.isComparing));
        byId('zoom').value = viewer.hasLayer('main') ? `${Math.round(viewer.getZoom() * 100)} %` : '–';
    };
    for (const type of ['steps', 'ui']) store.addEventListener(type, update);
    for (const type of ['moved', 'resized']) viewer.addEventListener(type, update);
    update();
}

async function start() {
    const [catalogueJson, photos] = await Promise.all([getCatalogue(), getPhotos()]);
    const catalogue = new Catalogue(catalogueJson);
    byId('version').textContent = catalogue.version;
    const store = new Store();
    store.ui.photo = photos[0]?.id ?? 0;
    const { ui, steps, message } = readAddress(location.hash, catalogue, photos);
    Object.assign(store.ui, ui, { selected: steps.at(-1)?.id ?? 0 });
    store.steps = steps;
    if (message) toast(message);

    const viewer = new Viewer(store);
    const toolbox = new Toolbox(store, catalogue, viewer);
    const preview = new Preview(store, catalogue, viewer, toolbox);
    const thumbnails = new Thumbnails();
    const chain = new ChainList({ store, catalogue, photos, preview });
    bindBar(store, viewer);
    const dialogs = makeDialogs(store, catalogue, preview, photos);
    const photoKeys = showPhotos(store, photos, preview, thumbnails);
    showEffects(store, catalogue, thumbnails);
    bindKeys({ store, viewer, preview, toolbox, chain, dialogs, photos: photoKeys });
    followAddress(store, catalogue, photos, toast);
}

start().catch((error) => {
    byId('message').hidden = false;
    byId('message-text').textContent = error.message;
});
