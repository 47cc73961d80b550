// A file's bytes under an address of their own. Files are never loaded by the bridge's address: HTML and
// SVG would run there as part of the page. A blob has the type that is given here and nothing else.

import { useEffect, useState } from 'preact/hooks';
import { raw } from '../../bridge/api.js';

/**
 * Types that would be a document of the page's own origin. SVG is left: in an img its scripts never
 * run.
 */
const kActiveTypes = /html|javascript|^(?:text|application)\/xml/i;

/**
 * @param {string} path
 * @param {string} mime
 * @param {AbortSignal} [signal]
 */
export async function blobAddress(path, mime, signal) {
  const bytes = await (await raw(path, { signal })).arrayBuffer();
  const type = kActiveTypes.test(mime) ? 'application/octet-stream' : mime;
  return URL.createObjectURL(new Blob([bytes], { type }));
}

/**
 * The address while the component is shown.
 * @param {string} path
 * @param {string} mime
 * @param {number} modified
 */
export function useBlobAddress(path, mime, modified) {
  const [state, setState] = useState({ address: '', failure: '' });
  useEffect(() => {
    const abort = new AbortController();
    let address = '';
    blobAddress(path, mime, abort.signal)
      .then((made) => {
        address = made;
        if (abort.signal.aborted) URL.revokeObjectURL(made);
        else setState({ address, failure: '' });
      })
      .catch((error) => {
        if (!abort.signal.aborted) setState({ address: '', failure: error.message });
      });
    return () => {
      abort.abort();
      if (address) URL.revokeObjectURL(address);
    };
  }, [path, mime, modified]);
  return state;
}
