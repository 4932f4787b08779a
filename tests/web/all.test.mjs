// SPDX-License-Identifier: GPL-3.0-or-later
import './browsing.mjs';
import './filters.mjs';
import './lightbox.mjs';
import './statistics.mjs';
import './colours.mjs';
import './map.mjs';
import './access.mjs';
