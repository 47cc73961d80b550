// Small files of kinds that are not text, made here so that none has to be kept.
import { deflateSync } from 'node:zlib';

/** A picture of one pixel. */
export function onePixelPng() {
  const chunk = (type, data) => {
    const body = Buffer.concat([Buffer.from(type), data]);
    const length = Buffer.alloc(4);
    length.writeUInt32BE(data.length);
    const check = Buffer.alloc(4);
    check.writeUInt32BE(checksum(body));
    return Buffer.concat([length, body, check]);
  };
  const head = Buffer.from([0, 0, 0, 1, 0, 0, 0, 1, 8, 2, 0, 0, 0]);
  return Buffer.concat([
    Buffer.from([0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a]),
    chunk('IHDR', head),
    chunk('IDAT', deflateSync(Buffer.from([0, 0x33, 0x99, 0xcc]))),
    chunk('IEND', Buffer.alloc(0)),
  ]);
}

/** @param {Buffer} bytes */
function checksum(bytes) {
  let crc = ~0;
  for (const byte of bytes) {
    crc ^= byte;
    for (let bit = 0; bit < 8; bit++) crc = (crc >>> 1) ^ (crc & 1 ? 0xedb88320 : 0);
  }
  return ~crc >>> 0;
}

/** A tenth of a second of nothing. */
export function silentWav() {
  const samples = 800;
  const head = Buffer.alloc(44);
  head.write('RIFF', 0);
  head.writeUInt32LE(36 + samples, 4);
  head.write('WAVEfmt ', 8);
  head.writeUInt32LE(16, 16);
  head.writeUInt16LE(1, 20); // plain samples
  head.writeUInt16LE(1, 22); // one channel
  head.writeUInt32LE(8000, 24);
  head.writeUInt32LE(8000, 28);
  head.writeUInt16LE(1, 32);
  head.writeUInt16LE(8, 34); // bits of a sample
  head.write('data', 36);
  head.writeUInt32LE(samples, 40);
  return Buffer.concat([head, Buffer.alloc(samples, 128)]);
}
