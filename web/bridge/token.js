// The session token: read once from the start address, kept in memory and for a reload of this tab
// in sessionStorage, and taken out of the address, so that no screenshot or copied link carries it.

const KEY = 'marlin-token';

let token = '';

/**
 * Takes the token at start. Without one in the address it is what this tab had before a reload.
 * @param {{location: Location, history: History, sessionStorage: Storage}} page
 */
export function takeToken(page) {
  const address = new URL(page.location.href);
  const given = address.searchParams.get('token');
  if (given !== null) {
    address.searchParams.delete('token');
    page.history.replaceState(page.history.state, '', address.pathname + address.search + address.hash);
  }
  token = given || page.sessionStorage.getItem(KEY) || '';
  if (token) page.sessionStorage.setItem(KEY, token);
}

export const sessionToken = () => token;
