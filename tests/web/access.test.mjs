// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { after, before, describe, test } from 'node:test';
import { startGallery } from './gallery.mjs';
import { inEachWindow, openBrowser, visit, WINDOWS } from './visitor.mjs';

const VIEWS = ['gallery', 'colours', 'map', 'statistics'];

/** Runs the tests of one kind of gallery, with a browser for each window. */
function at(kind, settings, tell, browserSettings = {}) {
  describe(kind, () => {
    const browsers = {};
    let gallery;
    before(async () => {
      gallery = await startGallery(settings);
      for (const [name, window] of Object.entries(WINDOWS)) {
        browsers[name] = await openBrowser(window, browserSettings);
      }
    });
    after(async () => {
      for (const browser of Object.values(browsers)) await browser.close();
      await gallery?.stop();
    });
    tell({
      story: (name, story) =>
        inEachWindow(
          test,
          () => browsers,
          () => gallery,
          name,
          story,
        ),
      onDesktop: (name, story) => test(name, () => visit(browsers.desktop, gallery, story)),
      get gallery() {
        return gallery;
      },
    });
  });
}

const PASSWORD = 'Nuß: "offen" 7';

at(
  'a gallery with a password',
  { photos: 300, password: PASSWORD },
  (place) => {
    place.story('works in every view', async (visitor) => {
      const { totals } = await place.gallery.ask('/api/stats');
      await visitor.open();
      await visitor.seesTotal(totals.total);
      await visitor.until(() => document.querySelector('.cell img.shown')?.naturalWidth > 0);
      for (const view of VIEWS) {
        await visitor.open(`/?view=${view}`);
        await visitor.until(() =>
          document.querySelector('.cell a[href], .families a, .marker, .card'),
        );
      }
    });
  },
  { httpCredentials: { username: 'anyone', password: PASSWORD } },
);

at('a gallery with a password', { photos: 300, password: 'secret' }, (place) => {
  place.onDesktop('shows nothing to strangers', async (visitor) => {
    await assert.rejects(visitor.page.goto(visitor.address), /ERR_INVALID_AUTH_CREDENTIALS/);
    assert.equal(await visitor.page.locator('.top').count(), 0);
  });

  place.onDesktop('opens by an address that holds name and password', async (visitor) => {
    await visitor.page.goto(visitor.address.replace('://', '://me:secret@'));
    await visitor.seesTotal(300);
    await visitor.tile(0).waitFor();
    await visitor.openPhoto(0);
    await visitor.button('Close');
    await visitor.seesNoPhoto();
  });

  place.onDesktop('whose password has changed asks for a reload', async (visitor) => {
    await visitor.page.goto(visitor.address.replace('://', '://me:secret@'));
    await visitor.seesTotal(300);
    await visitor.page.route('**/api/*', (route) => route.fulfill({ status: 401 }));
    await visitor.page.getByLabel('Sort').selectOption('oldest');
    await visitor.sees('This gallery asks for its password');
    await visitor.page.getByRole('button', { name: 'Reload the page' }).waitFor();
  });
});

at('an empty gallery', { photos: 0 }, (place) => {
  const words = {
    gallery: 'No photos yet',
    colours: 'No colours',
    map: 'No locations',
    statistics: 'Nothing to count yet',
  };
  place.story('says so in every view', async (visitor) => {
    for (const view of VIEWS) {
      await visitor.open(`/?view=${view}`);
      await visitor.sees(words[view]);
    }
    await visitor.open('/?year=2020');
    await visitor.sees('No photos match these filters.');
    await visitor.button('Filters');
    await visitor.page.getByRole('dialog').getByLabel('Favourites only').waitFor();
  });
});

at('a gallery that has gone to sleep', { photos: 500 }, (place) => {
  place.story('says so, and comes back by itself or when asked', async (visitor) => {
    await visitor.open();
    await visitor.seesTotal(500);
    await visitor.page.route('**/api/*', (route) => route.abort());
    for (const view of VIEWS.slice(1)) {
      await visitor.goToView(view[0].toUpperCase() + view.slice(1));
      await visitor.sees('The gallery can’t be reached');
    }
    await visitor.page.unroute('**/api/*');
    await visitor.button('Try again');
    await visitor.sees('favourites');
    await visitor.page.route('**/api/*', (route) => route.abort());
    await visitor.open('/?sort=oldest');
    await visitor.sees('The gallery can’t be reached');
    await visitor.page.unroute('**/api/*');
    await visitor.tile(0).waitFor();
  });

  place.onDesktop('answers that make no sense are an error, not an empty page', async (visitor) => {
    for (const body of ['{}', '', '[]', '<html>', '{"total":"x","items":[]}']) {
      await visitor.page.route('**/api/photos*', (route) => route.fulfill({ body }));
      await visitor.open();
      await visitor.sees('The gallery gave no usable answer');
      await visitor.page.unroute('**/api/photos*');
    }
  });
});

at('names of every kind', { photos: 300 }, (place) => {
  // The catalog holds a photo with each of these in its name.
  const odd = [
    '<img src=x onerror=',
    '"quoted" & \'single\' <b>bold</b>',
    '🏔️ Gipfel 👨‍👩‍👧 ünïcödé',
    'עברית',
    'a'.repeat(150),
  ];
  place.story('show as text', async (visitor) => {
    await visitor.open();
    for (const part of odd) {
      const { items } = await place.gallery.ask(`/api/photos?q=${encodeURIComponent(part)}`);
      assert.equal(items.length, 1, part);
      await visitor.open(`/?q=${encodeURIComponent(part)}`);
      await visitor.seesTile(0, items[0]);
      await visitor.openPhoto(0);
      assert.equal(
        await visitor.page.locator('#lightbox .title').textContent(),
        items[0].original_filename,
      );
      assert.ok((await visitor.details()).includes(items[0].original_filename));
      assert.deepEqual(await visitor.chips(), [`“${part}”`]);
      const { scrollWidth, width } = await visitor.page.evaluate(() => ({
        scrollWidth: document.documentElement.scrollWidth,
        width: innerWidth,
      }));
      assert.ok(scrollWidth <= width, 'nothing sticks out');
    }
    assert.equal(await visitor.page.locator('img[onerror], #lightbox b').count(), 0);
    assert.equal(await visitor.page.title(), 'Vaultmere');
  });

  place.onDesktop('also as albums and labels', async (visitor) => {
    const { top_albums: albums } = await place.gallery.ask('/api/stats');
    const { id, n } = albums.find(({ id: album }) => /<.*>/.test(album));
    await visitor.open('/?view=statistics');
    await visitor.page
      .locator('section.panel', { hasText: 'Albums' })
      .getByText('As a list')
      .click();
    await visitor.link(id);
    await visitor.seesTotal(n);
    assert.deepEqual(await visitor.chips(), [`Album: ${id}`]);
  });
});
