// Pictures that go along with a message: which can be sent, and their bytes as the bridge takes them.

export const PICTURE_TYPES = ['image/png', 'image/jpeg', 'image/gif', 'image/webp'];
export const PICTURE_BYTES = 5 * 1024 * 1024;
export const MOST_PICTURES = 10;

/**
 * Why a picture cannot go along, or "".
 * @param {{name: string, type: string, size: number}} file
 * @param {number} count of those that are there already
 */
export function pictureProblem({ name, type, size }, count) {
  const what = name || 'The picture';
  if (!PICTURE_TYPES.includes(type)) return `${what} is no PNG, JPEG, GIF or WebP picture.`;
  if (size === 0) return `${what} is empty.`;
  if (size > PICTURE_BYTES) return `${what} is larger than 5 MB.`;
  if (count >= MOST_PICTURES) return `A message takes ${MOST_PICTURES} pictures.`;
  return '';
}

/** @param {Uint8Array} bytes */
export function base64Of(bytes) {
  let text = '';
  // In pieces: as many arguments as a picture has bytes are too many for one call.
  for (let at = 0; at < bytes.length; at += 32768) {
    text += String.fromCharCode(...bytes.subarray(at, at + 32768));
  }
  return btoa(text);
}
