// SPDX-License-Identifier: GPL-3.0-or-later

export const byId = (id) => document.getElementById(id);

/**
 * An element. In `properties`, `class`, `role`, `for`, `aria-*` and `data-*` are
 * attributes, `style` holds CSS properties, `on` listeners, the rest are DOM
 * properties. Children are elements or texts; null and false are left out.
 */
export function el(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (value === undefined || value === null) continue;
    if (name === 'on') {
      for (const [type, listener] of Object.entries(value))
        element.addEventListener(type, listener);
    } else if (name === 'style') {
      for (const [key, text] of Object.entries(value)) element.style.setProperty(key, text);
    } else if (/^(class|role|for|list|aria-.*|data-.*)$/.test(name)) {
      element.setAttribute(name, value);
    } else {
      element[name] = value;
    }
  }
  element.append(...children.flat().filter((child) => child !== null && child !== false));
  return element;
}

/** Stops the page from scrolling behind an open modal dialog. */
export function holdPage(held) {
  const root = document.documentElement;
  if (held) root.style.setProperty('--scrollbar', `${innerWidth - root.clientWidth}px`);
  root.classList.toggle('held', held);
}
