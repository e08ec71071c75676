// The photographs: which one is displayed, and what is known about it.

import { byId, h } from './dom.js';

function formatBytes(bytes) {
    if (bytes < 1000) return `${bytes} bytes`;
    const [unit, scale] = bytes < 1e6 ? ['kB', 1e3] : ['MB', 1e6];
    return `${(bytes / scale).toFixed(bytes / scale < 10 ? 1 : 0)} ${unit}`;
}

const formatSize = (width, height) => `${width} × ${height}`;

export function showPhotos(store, photos, preview, thumbnails) {
    const select = byId('photo'),
        strip = byId('filmstrip');
    select.replaceChildren(...photos.map((photo) => h('option', { value: photo.id }, photo.name)));
    const isMany = photos.length > 1;
    byId('previous-photo').hidden = byId('next-photo').hidden = strip.hidden = byId('batch').hidden = !isMany;
    const buttons = photos.map((photo) => {
        const canvas = h('canvas', { width: 4, height: 3, 'aria-hidden': 'true' });
        if (isMany) thumbnails.fill(canvas, photo.id, []);
        return h(
            'button',
            {
                type: 'button',
                title: photo.name,
                'aria-label': photo.name,
                onclick: () => store.setUi({ photo: photo.id, tool: null }),
            },
            canvas,
        );
    });
    strip.replaceChildren(...buttons);
    const go = (by) => {
        const at = photos.findIndex((photo) => photo.id === store.ui.photo) + by;
        if (at >= 0 && at < photos.length) store.setUi({ photo: photos[at].id, tool: null });
    };
    select.addEventListener('change', () => store.setUi({ photo: Number(select.value), tool: null }));
    byId('previous-photo').addEventListener('click', () => go(-1));
    byId('next-photo').addEventListener('click', () => go(1));

    let shown = -1;
    const update = () => {
        if (store.ui.photo === shown) return;
        shown = store.ui.photo;
        select.value = String(shown);
        const at = photos.findIndex((photo) => photo.id === shown);
        byId('previous-photo').disabled = at <= 0;
        byId('next-photo').disabled = at >= photos.length - 1;
        buttons.forEach((button, i) => button.toggleAttribute('aria-current', i === at));
        if (isMany) buttons[at]?.scrollIntoView({ block: 'nearest', inline: 'nearest' });
        document.title = `${photos[at]?.name ?? ''} – kalvatri`;
        preview.loadPhoto();
    };
    store.addEventListener('ui', update);

    preview.addEventListener('photo', ({ detail }) => {
        const photo = photos.find(({ id }) => id === store.ui.photo);
        byId('info-file').textContent = detail
            ? `${detail.format} · ${formatBytes(detail.bytes)}`
            : formatBytes(photo.bytes);
        byId('info-size').textContent = detail ? formatSize(detail.width, detail.height) : '–';
        byId('info-metadata').textContent = detail ? detail.metadata?.join(', ') || 'none' : '–';
        byId('notes').replaceChildren();
    });
    preview.addEventListener('rendered', ({ detail }) => {
        const { photo } = preview;
        const isResized = photo && (photo.width !== detail.width || photo.height !== detail.height);
        if (photo) {
            byId('info-size').textContent =
                formatSize(photo.width, photo.height) +
                (isResized ? ` → ${formatSize(detail.width, detail.height)}` : '');
        }
        const findings = detail.findings?.length
            ? [
                  h(
                      'details',
                      {},
                      h('summary', {}, 'What was found'),
                      h('pre', { tabIndex: 0 }, JSON.stringify(detail.findings, null, 1)),
                  ),
              ]
            : [];
        const notes = [...new Set([...(photo?.notes ?? []), ...(detail.notes ?? [])])];
        byId('notes').replaceChildren(...notes.map((note) => h('p', {}, note)), ...findings);
        const approximate = byId('approximate');
        approximate.hidden = !detail.isApproximate;
        byId('approximate-why').replaceChildren(...(detail.approximate ?? []).map((why) => h('li', {}, why)));
    });
    update();
    return { next: () => go(1), previous: () => go(-1) };
}
