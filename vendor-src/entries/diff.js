export { parsePatch } from 'diff';
