// SPDX-License-Identifier: GPL-3.0-or-later
import assert from 'node:assert/strict';
import { before } from 'node:test';
import { at, LIBRARY } from './stage.mjs';

at('colours', LIBRARY, (place) => {
  const { story, onPhone, onDesktop } = place;
  let facets, colours;
  before(async () => {
    facets = await place.gallery.ask('/api/stats');
    colours = await place.gallery.ask('/api/colors');
  });

  story('a block opens its photo, with all that is known of it', async (visitor, window) => {
    await visitor.open('/?view=colours');
    await visitor.seesTotal(colours.length);
    await visitor.seesDrawings();
    const { x, y } = await visitor.page.locator('.field-of-colour').boundingBox();
    if (window === 'phone') await visitor.page.touchscreen.tap(x + 150, y + 210);
    else await visitor.page.mouse.click(x + 150, y + 210);
    await visitor.until(() => document.querySelector('#lightbox[open] .counter')?.textContent);
    const { photo } = visitor.query();
    const { hex } = colours.find(({ id }) => id === photo);
    const text = await visitor.details();
    assert.ok(text.includes(hex) && text.includes(photo), text);
    await visitor.page.goBack();
    await visitor.seesNoPhoto();
  });

  onPhone('a family leads into the gallery, with as many photos as it says', async (visitor) => {
    await visitor.open('/?view=colours');
    // Black and white photos are grey blocks, but of no family.
    const { n } = facets.colors.find(({ name }) => name === 'Gray');
    await visitor.page.getByRole('link', { name: `Grey, ${n} photos` }).click();
    await visitor.seesTotal(n);
    assert.deepEqual(await visitor.chips(), ['Grey']);
  });

  onDesktop('by keys, and with the filters', async (visitor) => {
    const label = facets.top_labels[0].id;
    const those = await visitor.gallery.ask('/api/colors', { label });
    await visitor.open(`/?view=colours&label=${encodeURIComponent(label)}`);
    await visitor.seesTotal(those.length);
    await visitor.page.getByRole('application').focus();
    await visitor.press('ArrowRight', 'ArrowRight', 'ArrowDown');
    await visitor.until(
      (of) => document.querySelector('#colours [role=status]').textContent.includes(` of ${of}`),
      those.length.toLocaleString('en-GB'),
    );
    await visitor.press('Enter');
    await visitor.until(() => document.querySelector('#lightbox[open] .counter')?.textContent);
    assert.ok(those.some(({ id }) => id === visitor.query().photo));
  });
});
