// Moments of a history in words: how long ago, and exactly.

const kSteps = [
  { unit: 'minute', seconds: 60 },
  { unit: 'hour', seconds: 3600 },
  { unit: 'day', seconds: 86400 },
  { unit: 'week', seconds: 604800 },
  { unit: 'month', seconds: 2629800 },
  { unit: 'year', seconds: 31557600 },
];

/**
 * @param {number} time seconds since the epoch
 * @param {number} [now] the same
 */
export function ago(time, now = Date.now() / 1000) {
  const seconds = now - time;
  const step = kSteps.findLast((one) => seconds >= one.seconds);
  if (!step) return 'just now';
  const count = Math.floor(seconds / step.seconds);
  return `${count} ${step.unit}${count === 1 ? '' : 's'} ago`;
}

const exactly = new Intl.DateTimeFormat(undefined, { dateStyle: 'medium', timeStyle: 'short' });
const byDay = new Intl.DateTimeFormat(undefined, { dateStyle: 'medium' });

/** @param {number} time seconds since the epoch */
export const moment = (time) => (time > 0 ? exactly.format(time * 1000) : '');

/** @param {number} time seconds since the epoch */
export const day = (time) => (time > 0 ? byDay.format(time * 1000) : '');
