// SPDX-License-Identifier: GPL-3.0-or-later
//
// What all stories share: one browser, the galleries, and a new visitor for each.
import { after, before, describe, test } from 'node:test';
import { join } from 'node:path';
import { chromium } from 'playwright-core';
import { Gallery } from './gallery.mjs';
import { Visitor } from './visitor.mjs';

/** Whoever sits at the desktop asks for stillness, so that pages with and without are seen. */
const WINDOWS = {
  phone: {
    viewport: { width: 390, height: 844 },
    deviceScaleFactor: 2,
    hasTouch: true,
    isMobile: true,
  },
  desktop: { viewport: { width: 1440, height: 900 }, reducedMotion: 'reduce' },
};

/** The library that most stories are told in. */
export const LIBRARY = { photos: 4000 };

/** Makes something once for each kind of settings that is asked for. */
function kept(make) {
  const made = new Map();
  const get = (settings = {}) => {
    const key = JSON.stringify(settings);
    if (!made.has(key)) made.set(key, make(settings));
    return made.get(key);
  };
  return { get, all: () => Promise.all(made.values()) };
}

const galleries = kept((settings) => Gallery.of(settings));

const browsers = kept(() =>
  chromium.launch({
    executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic'],
  }),
);

/** The first page of a window stays: without it each story would open the window anew. */
const windows = kept(async (settings) => {
  const context = await (await browsers.get()).newContext({ locale: 'en-GB', ...settings });
  context.setDefaultTimeout(20_000);
  await context.newPage();
  return context;
});

after(async () => {
  for (const browser of await browsers.all()) await browser.close();
  for (const gallery of await galleries.all()) await gallery.stop();
});

/**
 * Stories told in one gallery, each in a page of its own. `tell` gets `story`, `onPhone`
 * and `onDesktop`, which take a name and what a visitor does, and `gallery`, from the
 * first story on.
 */
export function at(title, settings, tell) {
  const { window: own = {}, ...kind } = settings;
  describe(title, { concurrency: 2 }, () => {
    const place = {};
    before(async () => {
      place.gallery = await galleries.get(kind);
    });
    const on = (name) => (story, does) =>
      test(`${story} (${name})`, { timeout: 90_000 }, async () => {
        const window = await windows.get({ ...WINDOWS[name], ...own });
        await visit(`${title}, ${story}, ${name}`, window, place.gallery, (visitor) =>
          does(visitor, name),
        );
      });
    place.onPhone = on('phone');
    place.onDesktop = on('desktop');
    place.story = (story, does) => {
      place.onPhone(story, does);
      place.onDesktop(story, does);
    };
    tell(place);
  });
}

/** Runs one story, and looks for faults that nobody would have seen. */
async function visit(name, window, gallery, story) {
  const page = await window.newPage();
  try {
    const visitor = new Visitor(page, gallery);
    await story(visitor);
    visitor.hasSeenNoFault();
  } catch (error) {
    throw await witnessed(name, page, error);
  } finally {
    await page.close();
  }
}

/** The error with what the page looked like. */
async function witnessed(name, page, error) {
  const path = join(process.env.FAILURES ?? '.', `${name.replace(/[^\w]+/g, '-')}.png`);
  await page.screenshot({ path }).catch(() => {});
  return new Error(`${error.message}\n  at ${page.url()}, seen in ${path}`, { cause: error });
}
