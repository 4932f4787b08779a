// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { at, LIBRARY } from './stage.mjs';

const VIEWS = ['gallery', 'colours', 'map', 'statistics'];
const titleOf = (view) => view[0].toUpperCase() + view.slice(1);

/** Waits until a view has something to show, whichever it is. */
const seesContent = (visitor) =>
  visitor.until(() => document.querySelector('.cell a[href], .families a, .marker, .card'));

// --- Passwords

const PASSWORD = 'Nuß: "offen" 7';
const LOCKED = { photos: 60, password: PASSWORD };
const KEY = { httpCredentials: { username: 'anyone', password: PASSWORD } };

at('a gallery with a password', { ...LOCKED, window: KEY }, ({ onPhone }) => {
  onPhone('works in every view', async (visitor) => {
    await visitor.open();
    await visitor.seesTotal(60);
    await visitor.until(() => document.querySelector('.cell img.shown')?.naturalWidth > 0);
    for (const view of VIEWS) {
      await visitor.open(`/?view=${view}`);
      await seesContent(visitor);
    }
  });
});

// Before the others: a browser remembers a password that it was given.
at('a gallery with a password', LOCKED, ({ onDesktop }) => {
  onDesktop('shows nothing to strangers', async (visitor) => {
    await assert.rejects(visitor.open(), /ERR_INVALID_AUTH_CREDENTIALS/);
    assert.equal(await visitor.page.locator('.top').count(), 0);
  });
});

at('a gallery with a password', LOCKED, ({ onDesktop }) => {
  const withPassword = (address) =>
    address.replace('://', `://me:${encodeURIComponent(PASSWORD)}@`);

  onDesktop('opens by an address that holds it', async (visitor) => {
    await visitor.page.goto(withPassword(visitor.address));
    await visitor.seesTotal(60);
    await visitor.tile(0).waitFor();
    await visitor.openPhoto(0);
    await visitor.button('Close');
    await visitor.seesNoPhoto();
  });

  onDesktop('that has changed asks for a reload', async (visitor) => {
    await visitor.page.goto(withPassword(visitor.address));
    await visitor.seesTotal(60);
    await visitor.page.route('**/api/*', (route) => route.fulfill({ status: 401 }));
    await visitor.page.getByLabel('Sort').selectOption('oldest');
    await visitor.sees('This gallery asks for its password');
    await visitor.page.getByRole('button', { name: 'Reload the page' }).waitFor();
  });
});

// --- Nothing there

at('an empty gallery', { photos: 0 }, ({ story }) => {
  const words = {
    gallery: 'No photos yet',
    colours: 'No colours',
    map: 'No locations',
    statistics: 'Nothing to count yet',
  };
  story('says so in every view', async (visitor) => {
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

at('a gallery that can’t be had', LIBRARY, ({ onPhone, onDesktop }) => {
  onPhone('says so, and comes back by itself or when asked', async (visitor) => {
    await visitor.open();
    await seesContent(visitor);
    await visitor.page.route('**/api/*', (route) => route.abort());
    for (const view of VIEWS.slice(1)) {
      await visitor.goToView(titleOf(view));
      await visitor.sees('The gallery can’t be reached');
    }
    await visitor.page.unroute('**/api/*');
    await visitor.button('Try again');
    await visitor.sees('favourites');
    await visitor.page.route('**/api/*', (route) => route.abort());
    await visitor.open('/?sort=oldest');
    await visitor.sees('The gallery can’t be reached');
    const again = visitor.page.getByRole('button', { name: 'Try again' });
    await again.focus();
    await visitor.page.waitForEvent('requestfailed');
    assert.ok(await again.evaluate((button) => button === document.activeElement));
    await visitor.page.unroute('**/api/*');
    await visitor.tile(0).waitFor();
  });

  onDesktop('takes an answer without sense for an error', async (visitor) => {
    for (const body of ['{}', '', '[]', '<html>', '{"total":"x","items":[]}']) {
      await visitor.page.route('**/api/photos*', (route) => route.fulfill({ body }));
      await visitor.open();
      await visitor.sees('The gallery gave no usable answer');
      await visitor.page.unroute('**/api/photos*');
    }
  });
});

// --- Names

at('names of every kind', LIBRARY, ({ story, onDesktop }) => {
  // The library holds one photo with each of these in its name.
  const odd = [
    '<img src=x onerror=',
    '"quoted" & \'single\' <b>bold</b>',
    '<script>',
    '🏔️ Gipfel 👨‍👩‍👧 ünïcödé',
    'עברית',
    '100% off?page=1&q=#top+1',
    'a long way to go',
  ];
  story('show as text', async (visitor) => {
    for (const part of odd) {
      const { items } = await visitor.gallery.ask('/api/photos', { q: part });
      assert.equal(items.length, 1, part);
      await visitor.open(`/?q=${encodeURIComponent(part)}`);
      await visitor.seesTile(0, items[0]);
      await visitor.openPhoto(0);
      const { original_filename: name } = items[0];
      assert.equal(await visitor.page.locator('#lightbox .title').textContent(), name);
      assert.ok((await visitor.details()).includes(name));
      assert.deepEqual(await visitor.chips(), [`“${part}”`]);
      const stickingOut = await visitor.page.evaluate(() =>
        [...document.querySelectorAll('html, .facts, .viewer > header')]
          .filter((box) => box.scrollWidth > box.clientWidth)
          .map((box) => box.className || box.tagName),
      );
      assert.deepEqual(stickingOut, [], part);
    }
    assert.equal(await visitor.page.locator('img[onerror], #lightbox b').count(), 0);
    assert.equal(await visitor.page.title(), 'Vaultmere');
  });

  onDesktop('also of albums', async (visitor) => {
    const { top_albums: albums } = await visitor.gallery.ask('/api/stats');
    const { id, n } = albums.find(({ id: album }) => album.includes('<'));
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

// --- Keyboard and screen reader

/** What has a role that needs a name, is shown, and has none. */
function nameless() {
  const unnamed = ['listitem', 'status', 'alert', 'search'];
  const isHeard = (element) =>
    element.checkVisibility() &&
    !element.closest('[aria-hidden=true]') &&
    !unnamed.includes(element.getAttribute('role'));
  const nameOf = (element) =>
    element.getAttribute('aria-label') ??
    document.getElementById(element.getAttribute('aria-labelledby'))?.textContent ??
    [
      element.innerText,
      element.title,
      ...[...(element.labels ?? [])].map((label) => label.innerText),
    ].join('');
  return [...document.querySelectorAll('button, a, input, select, [role], dialog, canvas')]
    .filter((element) => isHeard(element) && !nameOf(element).trim())
    .map((element) => element.outerHTML.slice(0, 120));
}

at('someone who doesn’t see or point', LIBRARY, ({ story, onDesktop }) => {
  story('hears a name of all that can be pressed', async (visitor, window) => {
    const namesAll = async (what) =>
      assert.deepEqual(await visitor.page.evaluate(nameless), [], what);
    const [{ id }] = (await visitor.gallery.ask('/api/photos', { favorite: 1 })).items;
    for (const query of [...VIEWS.map((view) => `view=${view}`), `favorite=1&photo=${id}`]) {
      await visitor.open(`/?${query}`);
      await seesContent(visitor);
      await namesAll(query);
    }
    if (window === 'desktop') {
      await visitor.open();
      await visitor.page.setViewportSize({ width: 750, height: 900 });
      await seesContent(visitor);
      await namesAll('a window between');
    }
  });

  onDesktop('goes by Tab: past the bar, into the panel, and back', async (visitor) => {
    const focused = () =>
      visitor.page.evaluate(() => {
        const { ariaLabel, id, textContent, tagName } = document.activeElement;
        return ariaLabel || id || textContent.trim() || tagName;
      });
    await visitor.open();
    await seesContent(visitor);
    await visitor.press('Tab');
    assert.equal(await focused(), 'Skip to the content');
    await visitor.press('Enter');
    assert.equal(await focused(), 'main');
    const filters = visitor.page.getByRole('button', { name: 'Filters', exact: true });
    await filters.focus();
    await visitor.press('Enter');
    const dialog = visitor.page.getByRole('dialog', { name: 'Filters' });
    await dialog.getByLabel('Year').waitFor();
    for (let i = 0; i < 40; i++) {
      await visitor.press('Tab');
      const isOutside = await visitor.page.evaluate(() =>
        document.activeElement.matches('main *, .top *'),
      );
      assert.ok(!isOutside, `Tab left the panel for ${await focused()}`);
    }
    await visitor.press('Escape');
    assert.ok(!(await dialog.isVisible()));
    assert.equal(await focused(), 'Filters');
  });

  onDesktop('isn’t shown motion that they asked not to see', async (visitor) => {
    await visitor.open();
    await seesContent(visitor);
    await visitor.openPhoto(0);
    await visitor.press('ArrowRight');
    await visitor.seesPhoto(1);
    const moving = () =>
      document
        .getAnimations()
        .filter(({ effect }) => effect.getComputedTiming().activeDuration > 1)
        .map(({ effect }) => effect.target.className);
    assert.deepEqual(await visitor.page.evaluate(moving), []);
    await visitor.open('/?view=map&centre=20,10,4');
    await visitor.page.locator('.marker').first().waitFor();
    await visitor.page.locator('.ground').focus();
    const { clock } = visitor.page;
    await clock.install();
    await clock.pauseAt(Date.now() + 60_000);
    const scale = () =>
      visitor.page
        .locator('.scale')
        .evaluate(({ textContent, style }) => `${textContent} in ${style.width}`);
    const before = await scale();
    await visitor.press('+');
    await clock.runFor(50);
    const after = await scale();
    assert.notEqual(after, before);
    await clock.runFor(1000);
    assert.equal(await scale(), after, 'the map is there at once');
  });
});
