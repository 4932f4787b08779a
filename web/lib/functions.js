// SPDX-License-Identifier: GPL-3.0-or-later

export const clamp = (value, low, high) => Math.min(Math.max(value, low), high);

/** A copy of a record without one of its keys. */
export function without(record, key) {
  const { [key]: _, ...rest } = record;
  return rest;
}

/** Delays `action` until it hasn't been called for `pause` milliseconds. */
export function debounced(pause, action) {
  let timer = 0;
  const call = (...values) => {
    clearTimeout(timer);
    timer = setTimeout(() => action(...values), pause);
  };
  call.cancel = () => clearTimeout(timer);
  return call;
}
