// Messages that wait for their turn: written while Claude is busy, sent one after the other.

/**
 * @typedef {{mediaType: string, data: string}} Picture base64
 * @typedef {{id: number, text: string, images: Picture[]}} Message
 */

let lastId = 0;

/**
 * @param {string} text
 * @param {Picture[]} [images]
 * @returns {Message}
 */
export const newMessage = (text, images = []) => ({ id: ++lastId, text, images });

/**
 * @param {readonly Message[]} queue
 * @param {number} id
 * @param {string} text without text and pictures the message goes
 */
export function edited(queue, id, text) {
  return queue
    .map((message) => (message.id === id ? { ...message, text } : message))
    .filter((message) => message.text.trim() !== '' || message.images.length > 0);
}

/**
 * @param {readonly Message[]} queue
 * @param {number} id
 */
export const removed = (queue, id) => queue.filter((message) => message.id !== id);

/**
 * @param {readonly Message[]} queue
 * @param {number} id
 * @param {number} place from 0; further than the ends is the end
 */
export function moved(queue, id, place) {
  const message = queue.find((one) => one.id === id);
  if (!message) return [...queue];
  return removed(queue, id).toSpliced(Math.max(0, Math.min(place, queue.length - 1)), 0, message);
}

/**
 * A queue that was kept, with ids of its own; what makes no sense in it is left out.
 * @param {unknown} kept
 */
export function restoredQueue(kept) {
  if (!Array.isArray(kept)) return [];
  return kept
    .filter((one) => typeof one?.text === 'string')
    .map(({ text, images }) => newMessage(text, Array.isArray(images) ? images.filter(isPicture) : []));
}

/** @param {any} one */
const isPicture = (one) => typeof one?.mediaType === 'string' && typeof one.data === 'string';
