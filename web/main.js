// SPDX-License-Identifier: GPL-3.0-or-later
//
// The entry point of the bundle. The views are imported only where the page may run.
import { startApplication } from './application.js';
import { isFramedByAnotherSite, refuseFrame } from './lib/frame.js';

if (isFramedByAnotherSite()) refuseFrame();
else startApplication();
