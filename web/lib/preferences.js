// SPDX-License-Identifier: GPL-3.0-or-later

/** Choices that this browser remembers; without storage the defaults apply. */
export const preferences = {
  read(key, fallback) {
    try {
      return localStorage.getItem(`vaultmere.${key}`) ?? fallback;
    } catch {
      return fallback;
    }
  },
  write(key, value) {
    try {
      localStorage.setItem(`vaultmere.${key}`, value);
    } catch {
      // Storage is switched off in this browser.
    }
  },
};
