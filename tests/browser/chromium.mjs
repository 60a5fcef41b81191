// Headless Chromium for the programs of this folder.
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import {createRequire} from 'node:module';

// The `require` of a folder of node_modules.
export function requireFrom(modules) {
  return createRequire(path.join(path.resolve(modules), 'from_here.js'));
}

// Calls `work` with a browser that has a new profile, and removes both afterwards.
export async function withChromium(modules, work) {
  const {chromium} = requireFrom(modules)('playwright-core');
  const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'quarrypack_browser_'));
  const browser = await chromium.launchPersistentContext(profile, {
    executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
    headless: true,
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
           '--disable-background-networking', '--disable-component-update', '--disable-sync',
           '--autoplay-policy=no-user-gesture-required'],
  });
  try {
    await work(browser);
  } finally {
    await browser.close();
    fs.rmSync(profile, {recursive: true, force: true});
  }
}
