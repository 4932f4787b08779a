// SPDX-License-Identifier: GPL-3.0-or-later
import './gallery.mjs';
import './filters.mjs';
import './lightbox.mjs';
import './statistics.mjs';
import './colours.mjs';
import './map.mjs';
import './access.mjs';
