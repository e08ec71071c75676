// Encodes grey pictures as PNG files. A canvas would smooth the edges of strokes, and its files might not contain
// exactly the values that were drawn.

const CRC_TABLE = Uint32Array.from({ length: 256 }, (_, n) => {
    let c = n;
    for (let k = 0; k < 8; ++k) c = c & 1 ? 0xedb88320 ^ (c >>> 1) : c >>> 1;
    return c;
});

function crc(bytes) {
    let c = 0xffffffff;
    for (const byte of bytes) c = CRC_TABLE[(c ^ byte) & 255] ^ (c >>> 8);
    return (c ^ 0xffffffff) >>> 0;
}

function chunk(type, data) {
    const bytes = new Uint8Array(12 + data.length);
    const view = new DataView(bytes.buffer);
    view.setUint32(0, data.length);
    bytes.set(new TextEncoder().encode(type), 4);
    bytes.set(data, 8);
    view.setUint32(8 + data.length, crc(bytes.subarray(4, 8 + data.length)));
    return bytes;
}

/** @param {Uint8Array} samples rows of width levels @returns {Promise<Blob>} */
export async function encodeGreyPng(width, height, samples) {
    const rows = new Uint8Array((width + 1) * height); // each row is preceded by a zero: no filter
    for (let y = 0; y < height; ++y) rows.set(samples.subarray(y * width, (y + 1) * width), y * (width + 1) + 1);
    const stream = new Blob([rows]).stream().pipeThrough(new CompressionStream('deflate'));
    const data = new Uint8Array(await new Response(stream).arrayBuffer());
    const header = new Uint8Array(13);
    new DataView(header.buffer).setUint32(0, width);
    new DataView(header.buffer).setUint32(4, height);
    header.set([8, 0, 0, 0, 0], 8);
    const signature = Uint8Array.of(137, 80, 78, 71, 13, 10, 26, 10);
    return new Blob([signature, chunk('IHDR', header), chunk('IDAT', data), chunk('IEND', new Uint8Array())], {
        type: 'image/png',
    });
}
