// SPDX-License-Identifier: GPL-3.0-or-later
//
// The page's state, which the address holds, and the steps of the history. Views read
// `state` and change it by `go` only.
import { addressOf, readAddress } from './address.js';
import { tidyFilters } from './filters.js';

/** As `readAddress` gives it. */
export let state = readAddress(location.search);

let handlers = null;

/**
 * Shows the first state and follows the history from now on. `show(next, old, anchor)`
 * brings the screen in line with a state; at the first call `old` is `next`. `anchor()`
 * gives what stands at the top of the gallery, or null.
 */
export function startNavigation({ show, anchor }) {
  handlers = { show, anchor };
  history.scrollRestoration = 'manual';
  addEventListener('popstate', (event) =>
    enter(readAddress(location.search), event.state?.anchor ?? null),
  );
  enter(state, history.state?.anchor ?? null);
}

/**
 * Goes to another state: `change` over the present one. `replace` overwrites the present
 * entry of the history; `quiet` changes the address but not the screen.
 */
export function go(change, { replace = false, quiet = false } = {}) {
  const next = { ...state, ...change, filters: tidyFilters(change.filters ?? state.filters) };
  const address = addressOf(next);
  if (!replace && address === addressOf(state)) return;
  const mark = { inside: replace ? (history.state?.inside ?? false) : true };
  if (replace) {
    history.replaceState({ ...history.state, ...mark }, '', address);
  } else {
    saveAnchor();
    history.pushState(mark, '', address);
  }
  if (quiet) state = next;
  else enter(next, null);
}

/** Goes back to the state before an open photo. */
export function closePhoto() {
  if (history.state?.inside) history.back();
  else go({ photo: null, at: null }, { replace: true });
}

/** Stores the gallery's scroll position in the history, for going back to it. */
export function saveAnchor() {
  if (state.view !== 'gallery') return;
  const anchor = handlers.anchor();
  if (JSON.stringify(anchor) === JSON.stringify(history.state?.anchor ?? null)) return;
  history.replaceState({ ...history.state, anchor }, '');
}

function enter(next, anchor) {
  const old = state;
  state = next;
  handlers.show(next, old, anchor);
}
