/**
 * The picture at the top of README.md: a real conversion, compared in the page. Run by
 * docs/recording/record-console, which names the file to write.
 */

import { execFileSync } from 'node:child_process';
import { createRequire } from 'node:module';
import { Site } from './site.js';

const require = createRequire(`${process.env.VOND_CONSOLE_MODULES}/`);
const { chromium } = require('playwright-core');
const DEMO = new URL('../../../examples/images/demo.jpg', import.meta.url).pathname;
const SIZE = { width: 1280, height: 900 };

const site = new Site();
const browser = await chromium.launch({
  executablePath: '/usr/bin/chromium',
  args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-sync'],
});
try {
  const poster = site.path('balloons.tif');
  execFileSync('vips', ['thumbnail', DEMO, `${poster}[compression=lzw]`, '3000']);
  const { page: address } = await site.nginx(await site.service());
  const context = await browser.newContext({
    ignoreHTTPSErrors: true,
    viewport: SIZE,
    deviceScaleFactor: 1.5,
    colorScheme: 'light',
  });
  const page = await context.newPage();
  await page.goto(address);
  await page.waitForSelector('#details dl');
  await page.selectOption('#configuration', 'PressCMYK');
  await page.setInputFiles('#files', poster);
  await page.click('.job[data-phase="done"] .primary', { timeout: 60_000 });
  await page.waitForFunction(
    () =>
      document.querySelectorAll('#result-facts dd').length === 4 &&
      document.querySelectorAll('#original-facts dd').length === 4 &&
      !document.querySelector('.loading'),
    null,
    { timeout: 60_000 },
  );
  await page.click('#mode-slider');
  // Large, showing its upper part, with the line through the large balloon.
  const { x, y, width, height } = await page.locator('#stage').boundingBox();
  await page.mouse.move(x + width / 2, y + height * 0.08);
  for (let i = 0; i < 3; i += 1) {
    await page.mouse.wheel(0, -100);
  }
  await page.fill('#split', '30');
  await page.mouse.move(x + width * 0.34, y + height * 0.42);
  await page.evaluate(
    () => new Promise((resolve) => requestAnimationFrame(() => requestAnimationFrame(resolve))),
  );
  await page.screenshot({ path: process.argv[2] });
} finally {
  await browser.close();
  await site.stop();
}
