// Opens reports in headless Chromium and prints what was seen, as one JSON document:
//
//     node look.mjs MODULES PICTURES report.html...
//
//     {"report.html": {"cues", "complaints", "requests", "tooWide", "violations"}}
//
// MODULES is the folder of node_modules with playwright-core and axe-core, which looks for violations of
// WCAG 2.1 AA. Pictures of each page in light, in dark, on a telephone and on paper are put into the
// folder PICTURES.
import fs from 'node:fs';
import path from 'node:path';
import {pathToFileURL} from 'node:url';
import {requireFrom, withChromium} from './chromium.mjs';

const [modules, pictures, ...reports] = process.argv.slice(2);
const axeScript = fs.readFileSync(requireFrom(modules).resolve('axe-core/axe.min.js'), 'utf8');

const desk = {width: 1280, height: 900};
const telephone = {width: 390, height: 844};

// Runs in the page: the cues that it lists, in the form of a caption document.
function cuesOfPage() {
  const runOf = element => ({
    text: element.textContent,
    color: [...element.classList].find(name => name !== 'italic' && name !== 'underline'),
    italic: getComputedStyle(element).fontStyle === 'italic',
    underline: getComputedStyle(element).textDecorationLine === 'underline',
  });
  const rowOf = element => ({
    row: Number(getComputedStyle(element).gridRowStart),
    column: Number(element.dataset.column),
    runs: [...element.children].map(runOf),
  });
  return [...document.querySelectorAll('.cue')].map(cue => ({
    channel: cue.dataset.channel,
    start: Number(cue.dataset.start),
    end: Number(cue.dataset.end),
    mode: cue.dataset.mode,
    text: cue.dataset.text,
    rows: [...cue.querySelectorAll('.row')].map(rowOf),
  }));
}

// Runs in the page: the elements that extend past its right edge or would need sideways scrolling.
function elementsTooWide() {
  const right = document.documentElement.clientWidth;
  const isTooWide = element => element.getBoundingClientRect().right > right + 0.5 ||
      (element instanceof HTMLElement && element.scrollWidth > element.clientWidth + 1 &&
       getComputedStyle(element).display === 'block');
  return [...document.body.querySelectorAll('*')].filter(isTooWide).map(
      element => element.outerHTML.slice(0, 120));
}

async function violationsOf(page) {
  const found = await page.evaluate(() => axe.run(document, {
    runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'best-practice'],
  }));
  return found.violations.map(
      rule => `${rule.id}: ${rule.help}: ${rule.nodes[0].html.slice(0, 200)} (${rule.nodes.length})`);
}

async function look(browser, report) {
  const page = await browser.newPage();
  const complaints = [];
  const requests = [];
  page.on('console', message => complaints.push(message.text()));
  page.on('pageerror', error => complaints.push(String(error)));
  page.on('request', request => requests.push(request.url()));
  const name = path.join(pictures, path.basename(report, '.html'));
  const picture = kind => page.screenshot({path: `${name}_${kind}.png`, fullPage: true});

  await page.setViewportSize(desk);
  await page.goto(pathToFileURL(path.resolve(report)).href);
  await picture('light');
  await page.pdf({path: `${name}_print.pdf`, preferCSSPageSize: true});
  const cues = await page.evaluate(cuesOfPage);

  await page.evaluate(axeScript);
  const violations = await violationsOf(page);
  await page.emulateMedia({colorScheme: 'dark'});
  await picture('dark');
  violations.push(...await violationsOf(page));

  await page.emulateMedia({colorScheme: 'light'});
  await page.setViewportSize(telephone);
  await picture('telephone');
  const tooWide = await page.evaluate(elementsTooWide);
  violations.push(...await violationsOf(page));
  await page.close();
  // The first request is for the page itself.
  return {cues, complaints, requests: requests.slice(1), tooWide, violations};
}

await withChromium(modules, async browser => {
  const seen = {};
  for (const report of reports) seen[path.basename(report)] = await look(browser, report);
  console.log(JSON.stringify(seen));
});
