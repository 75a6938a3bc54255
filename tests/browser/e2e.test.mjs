// End-to-end test of an installed Loglantern site: a web server (lighttpd or
// Apache httpd, as browser_e2e.sh chooses) serves the form,
// images and manual and runs the program as a CGI program; a headless
// Chromium fills in the form as a person would and reads the answers.
//
// Started by tests/scripts/browser_e2e.sh, which installs the site, starts
// the server and passes:
//   LOGLANTERN_URL         base address of the server (http://127.0.0.1:PORT)
//   LOGLANTERN_SITE_ENV    site.env written by the install (where things went)
//   LOGLANTERN_SERVER_LOG  the server's error log (the program's stderr)
//   LOGLANTERN_SHOTS       folder for the screenshots
//   CHROMIUM               the browser to drive (default /usr/bin/chromium)

import { after, before, describe, test } from 'node:test';
import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { execFileSync } from 'node:child_process';
import { chromium } from 'playwright-core';

const base = process.env.LOGLANTERN_URL;
const site = readSiteEnv(process.env.LOGLANTERN_SITE_ENV);
const shots = process.env.LOGLANTERN_SHOTS || os.tmpdir();
const formUrl = `${base}/Loglantern/`;
const cgiUrl = `${base}${site.LOGLANTERN_CGI_URL}`;

const SECTION_TITLES = [
  'Top URLs Requested', 'Top Referrers To Your Site', 'Search Phrases',
  'Most Common Browsers', 'Bad URLs', 'Bad Referrers', 'User Domain Analysis',
  'Types Of Domains', 'Daily Totals', 'Hits Per Day of Week', 'Hits Per Hour',
  'Visitors and Visits', 'Pages', 'Status Codes', 'Browser Families', 'Robots',
];
const NEW_SECTIONS = ['visitors', 'pages', 'statuscodes', 'browserfamilies', 'robots'];
const LIST_SECTIONS = ['requests', 'referrers', 'search', 'browsers', 'badurls',
  'badreferrers', 'domains', 'domaintypes'];
const FORM_FIELDS = [
  'username', 'password', 'sm', 'sd', 'sy', 'em', 'ed', 'ey',
  'find', 'subdirs', 'find_pattern', 'find_casesensitive', 'showquery',
  ...LIST_SECTIONS.flatMap((s) => [s, `${s}_top`, `${s}_greater`]),
  'search_casesensitive', 'badurl_referrers', 'dailytotals', 'hitsperdayofweek',
  'hitsperhour', 'filter_domains', 'filter_referrers', 'filter_filetypes',
  'authrealm', 'authuser', 'title', 'dnslookupenabled', 'flushtoserver',
  'smartmemorydisabled', ...NEW_SECTIONS,
];
const SECURITY_HEADERS = {
  'content-security-policy': /default-src 'none'/,
  'x-content-type-options': /^nosniff$/,
  'referrer-policy': /^no-referrer$/,
};
const HOSTILE_SCRIPT = "<script>document.title='owned'</script>";
const HOSTILE_REFRESH = '<meta http-equiv=refresh content=0;url=http://127.0.0.2:9/away>';

// A week of a small site in March 2024, two lines in February that lie
// outside the report range, and one hostile line for the markup test.
const E2E_LOG = [
  ['192.0.2.10', '20/Feb/2024:09:00:00', 'GET /old.html', 200, 100, '-', 'Mozilla/5.0 (X11; Linux x86_64) Firefox/115.0'],
  ['192.0.2.10', '21/Feb/2024:09:00:00', 'GET /old.html', 200, 100, '-', 'Mozilla/5.0 (X11; Linux x86_64) Firefox/115.0'],
  ['192.0.2.10', '04/Mar/2024:09:15:00', 'GET /index.html', 200, 1500, 'http://www.google.com/search?q=lantern+logs', 'Mozilla/5.0 (X11; Linux x86_64) Firefox/115.0'],
  ['ws1.lab.example.org', '04/Mar/2024:10:20:00', 'GET /docs/guide.html', 200, 4000, 'http://www.example.com/index.html', 'Mozilla/5.0 (X11; Linux x86_64) Firefox/115.0'],
  ['ws1.lab.example.org', '05/Mar/2024:11:00:00', 'GET /index.html', 200, 1500, '-', 'Mozilla/4.0 (compatible; MSIE 6.0; Windows NT 5.1)'],
  ['198.51.100.7', '05/Mar/2024:14:30:00', 'GET /missing.html', 404, 200, 'http://links.example.net/page.html', 'Mozilla/4.0 (compatible; MSIE 6.0; Windows NT 5.1)'],
  ['198.51.100.7', '06/Mar/2024:15:45:00', 'GET /index.html', 200, 1500, 'http://www.google.com/search?q=lantern+logs', 'Mozilla/5.0 (X11; Linux x86_64) Firefox/115.0'],
  ['host.example.de', '07/Mar/2024:16:00:00', 'GET /docs/guide.html', 200, 4000, '-', 'Mozilla/5.0 (X11; Linux x86_64) Firefox/115.0'],
  ['host.example.de', '08/Mar/2024:08:05:00', 'GET /index.html', 200, 1500, '-', 'Mozilla/5.0 (X11; Linux x86_64) Firefox/115.0'],
  ['192.0.2.44', '09/Mar/2024:12:00:00', 'GET /missing.html', 404, 200, 'http://links.example.net/page.html', 'Mozilla/5.0 (X11; Linux x86_64) Firefox/115.0'],
  ['192.0.2.44', '10/Mar/2024:18:30:00', 'GET /index.html', 200, 1500, '-', 'Mozilla/5.0 (X11; Linux x86_64) Firefox/115.0'],
];
const HOSTILE_LOG = [
  ['203.0.113.5', '06/Mar/2024:12:00:00', 'GET /index.html', 200, 512,
    `http://evil.example/${HOSTILE_SCRIPT}`,
    `Mozilla/5.0 ${HOSTILE_SCRIPT} <img src=x onerror=document.title='owned'>`],
];
const REFRESH_LOG = [['203.0.113.6', '06/Mar/2024:12:00:00', 'GET /index.html', 200, 512,
  `http://evil.example/${HOSTILE_REFRESH}`, 'Mozilla/5.0']];

let browser; // one persistent context: the browser with its fresh profile
let userDataDir;

function readSiteEnv(file) {
  assert.ok(file && fs.existsSync(file), 'LOGLANTERN_SITE_ENV names the installed site.env');
  const values = {};
  for (const line of fs.readFileSync(file, 'utf8').split('\n')) {
    const m = /^(\w+)='(.*)'$/.exec(line);
    if (m) values[m[1]] = m[2];
  }
  return values;
}

// Writes a combined-format log and an account line that reads it.
function addAccount(name, password, rows, url = 'http://www.example.com') {
  const dir = path.join(site.LOGLANTERN_DATA_DIR, `${name}-logs`);
  fs.mkdirSync(dir, { recursive: true });
  const lines = rows.map(([host, time, request, status, bytes, referrer, agent]) =>
    `${host} - - [${time} +0000] "${request} HTTP/1.1" ${status} ${bytes} "${referrer}" "${agent}"\n`);
  fs.writeFileSync(path.join(dir, 'access.log'), lines.join(''));
  fs.appendFileSync(path.join(site.LOGLANTERN_CGI_DIR, 'loglantern.conf'),
    `user=${name};password=${password};url=${url};logs=${dir}/*.log\n`);
}

async function newPage() {
  const page = await browser.newPage();
  await page.setViewportSize({ width: 1100, height: 900 });
  page.setDefaultTimeout(30000);
  return page;
}

// Opens the form, sets the given fields (text, select or checkbox) and
// submits it; returns the program's response once the answer has loaded.
async function submitForm(page, fields) {
  await page.goto(formUrl);
  for (const [name, value] of Object.entries(fields)) {
    const control = page.locator(`[name="${name}"]`);
    const kind = await control.evaluate((el) => (el.tagName === 'SELECT' ? 'select' : el.type));
    if (kind === 'select') await control.selectOption(value);
    else if (kind === 'checkbox') await control.setChecked(Boolean(value));
    else await control.fill(String(value));
  }
  const answer = page.waitForResponse((r) => r.url() === cgiUrl && r.request().method() === 'POST');
  await page.click('button[type="submit"]');
  const response = await answer;
  await page.waitForLoadState('load');
  return response;
}

function assertSecurityHeaders(headers, what) {
  for (const [name, pattern] of Object.entries(SECURITY_HEADERS)) {
    assert.match(headers[name] || '', pattern, `${what}: header ${name}`);
  }
  assert.doesNotMatch(headers['content-security-policy'], /script-src[^;]*'unsafe/, `${what}: no script exceptions`);
}

// Every image of the page was fetched with HTTP 200 and decoded.
async function assertImagesLoad(page, what) {
  const images = await page.evaluate(() => Array.from(document.images).map((img) => ({
    src: img.currentSrc || img.src, complete: img.complete, width: img.naturalWidth, height: img.naturalHeight,
  })));
  assert.ok(images.length > 0, `${what}: has images`);
  for (const img of images) {
    assert.ok(img.complete && img.width > 0, `${what}: image ${img.src} decoded`);
    const res = await fetch(img.src);
    assert.equal(res.status, 200, `${what}: image ${img.src} answers 200`);
    assert.match(res.headers.get('content-type') || '', /^image\//, `${what}: ${img.src} is an image`);
  }
  return images;
}

// Follows every same-site link of an HTML text and checks that it answers
// 200 and that its #fragment exists on the target page.
async function assertLinksWork(html, pageUrl) {
  const targets = new Set();
  for (const m of html.matchAll(/href="([^"]+)"/gi)) {
    const url = new URL(m[1].replaceAll('&amp;', '&'), pageUrl);
    if (url.origin === new URL(base).origin) targets.add(url.href);
  }
  for (const target of targets) {
    const url = new URL(target);
    const res = await fetch(url.href.replace(/#.*/, ''));
    assert.equal(res.status, 200, `link ${target} from ${pageUrl}`);
    const body = await res.text();
    if (url.hash) {
      const id = decodeURIComponent(url.hash.slice(1));
      assert.ok(body.includes(`id="${id}"`) || body.includes(`name="${id}"`), `anchor ${target} exists`);
    }
  }
  return targets.size;
}

function localDay(date) {
  return { year: date.getFullYear(), month: date.getMonth() + 1, day: date.getDate() };
}

before(async () => {
  assert.ok(base, 'LOGLANTERN_URL is set');
  addAccount('e2e', 'lantern', E2E_LOG);
  addAccount('hostile', '*', HOSTILE_LOG);
  addAccount('refresh', '*', REFRESH_LOG, base);
  userDataDir = fs.mkdtempSync(path.join(os.tmpdir(), 'loglantern-chromium-'));
  // Playwright passes the profile folder to the browser as --user-data-dir.
  browser = await chromium.launchPersistentContext(userDataDir, {
    executablePath: process.env.CHROMIUM || '/usr/bin/chromium',
    headless: true,
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync'],
  });
});

after(async () => {
  if (browser) await browser.close();
  if (userDataDir) fs.rmSync(userDataDir, { recursive: true, force: true });
});

describe('report request form', () => {
  test('offers every request field, each labelled, without script', { timeout: 60000 }, async () => {
    const page = await newPage();
    const response = await page.goto(formUrl);
    assert.equal(response.status(), 200);
    assertSecurityHeaders(response.headers(), 'form');
    assert.equal(await page.title(), 'Loglantern: Report Request Form');

    const controls = await page.evaluate(() => Array.from(document.querySelectorAll('form [name]')).map((el) => ({
      name: el.name, tag: el.tagName, type: el.type, labelled: el.labels ? el.labels.length > 0 : false,
      inFieldset: Boolean(el.closest('fieldset') && el.closest('fieldset').querySelector('legend')),
    })));
    const names = controls.map((c) => c.name);
    for (const field of FORM_FIELDS) assert.ok(names.includes(field), `form has a field ${field}`);
    for (const c of controls) {
      assert.ok(c.labelled, `field ${c.name} has a label`);
      assert.ok(c.inFieldset, `field ${c.name} is in a fieldset with a legend`);
    }
    // A section switch sets its row limit back to "all", so it must come first.
    for (const s of LIST_SECTIONS) {
      assert.ok(names.indexOf(s) < names.indexOf(`${s}_top`), `${s} comes before ${s}_top`);
      assert.ok(names.indexOf(s) < names.indexOf(`${s}_greater`), `${s} comes before ${s}_greater`);
    }
    assert.equal(await page.locator('script').count(), 0, 'no script on the form');
    assert.equal(await page.getAttribute('form', 'action'), site.LOGLANTERN_CGI_URL);
    assert.equal((await page.getAttribute('form', 'method')).toLowerCase(), 'post');

    // Defaults: the whole site, every section, the last 30 days.
    assert.equal(await page.inputValue('#find'), '/');
    assert.ok(await page.isChecked('#subdirs'));
    for (const s of [...LIST_SECTIONS, 'dailytotals', 'hitsperdayofweek', 'hitsperhour', ...NEW_SECTIONS]) {
      assert.ok(await page.isChecked(`#${s}`), `${s} is on by default`);
    }
    const start = new Date(Number(await page.inputValue('#sy')), Number(await page.inputValue('#sm')) - 1,
      Number(await page.inputValue('#sd')), 12);
    const end = new Date(Number(await page.inputValue('#ey')), Number(await page.inputValue('#em')) - 1,
      Number(await page.inputValue('#ed')), 12);
    assert.equal(Math.round((end - start) / 86400000), 29, 'the default range spans 30 days');
    const today = new Date();
    const yesterday = new Date(today.getFullYear(), today.getMonth(), today.getDate() - 1);
    assert.ok([localDay(today), localDay(yesterday)].some((d) => JSON.stringify(d) === JSON.stringify(localDay(end))),
      'the default range ends today');

    await assertImagesLoad(page, 'form');
    await page.screenshot({ path: path.join(shots, 'browser-form.png'), fullPage: true });
    await page.close();
  });

  test('is filled in and sent from the keyboard alone', { timeout: 60000 }, async () => {
    const page = await newPage();
    await page.goto(formUrl);
    const focused = () => page.evaluate(() => document.activeElement.id);
    assert.equal(await focused(), 'username', 'the account name has the focus');
    await page.keyboard.type('e2e');
    await page.keyboard.press('Tab');
    assert.equal(await focused(), 'password');
    await page.keyboard.type('lantern');
    // Tab on through the date fields: typing picks a month or day in a list.
    const keys = [['sm', 'Mar'], ['sd', '1'], ['sy', '2024'], ['em', 'Mar'], ['ed', '31'], ['ey', '2024']];
    for (const [id, text] of keys) {
      await page.keyboard.press('Tab');
      assert.equal(await focused(), id, `Tab reaches ${id}`);
      if (id.endsWith('y')) await page.keyboard.press('Control+A');
      await page.keyboard.type(text);
    }
    assert.deepEqual(
      await Promise.all(['sm', 'sd', 'sy', 'em', 'ed', 'ey'].map((id) => page.inputValue(`#${id}`))),
      ['03', '01', '2024', '03', '31', '2024']);
    const answer = page.waitForResponse((r) => r.url() === cgiUrl && r.request().method() === 'POST');
    await page.keyboard.press('Enter');
    const response = await answer;
    await page.waitForLoadState('load');
    assert.equal(response.status(), 200);
    assert.match(await response.text(), /<b>HTTP Requests:<\/b><\/td><td width="50%">9<\/td>/);
    await page.close();
  });
});

describe('form defaults', () => {
  // The installed renderer, run for fixed end days: the range must cross
  // month, leap-day and year ends correctly.
  function render(end, days) {
    const out = path.join(os.tmpdir(), `loglantern-form-${process.pid}.html`);
    execFileSync('sh', [path.join(site.LOGLANTERN_SHARE_DIR, 'render-form.sh'),
      path.join(site.LOGLANTERN_SHARE_DIR, 'index.html.in'), out, '--end', end, '--days', String(days)]);
    const html = fs.readFileSync(out, 'utf8');
    fs.rmSync(out);
    const selected = (name) => new RegExp(`<select id="${name}"[^]*?<option value="(\\d\\d)" selected>`).exec(html)[1];
    const year = (name) => new RegExp(`id="${name}" name="${name}" value="(\\d+)"`).exec(html)[1];
    assert.doesNotMatch(html, /@[A-Z_]+@/, 'every placeholder is filled');
    return [selected('sm'), selected('sd'), year('sy'), selected('em'), selected('ed'), year('ey')].join(' ');
  }

  test('span the given number of days', () => {
    assert.equal(render('2024-03-01', 30), '02 01 2024 03 01 2024');
    assert.equal(render('2023-03-01', 30), '01 31 2023 03 01 2023');
    assert.equal(render('2025-01-10', 30), '12 12 2024 01 10 2025');
    assert.equal(render('2024-06-15', 1), '06 15 2024 06 15 2024');
  });

  test('refuse a bad end day or length', () => {
    for (const args of [['bogus', 30], ['2024-03-01', 0]]) {
      assert.throws(() => render(...args), `render ${args}`);
    }
  });
});

describe('report', () => {
  test('arrives with every section and working images for the sample account', { timeout: 120000 }, async () => {
    const page = await newPage();
    const response = await submitForm(page, {
      username: 'sample', password: 'sample',
      sm: '03', sd: '01', sy: '2024', em: '03', ed: '31', ey: '2024',
      ...Object.fromEntries(NEW_SECTIONS.map((s) => [s, true])),
    });
    assert.equal(response.status(), 200);
    assertSecurityHeaders(response.headers(), 'report');
    assert.equal(await page.title(), 'Web Site Analysis');
    const html = await response.text();
    for (const title of SECTION_TITLES) assert.ok(html.includes(`<b>${title}</b>`), `report has section ${title}`);
    assert.doesNotMatch(html, /No log files found containing date range/, 'the sample logs lie in March 2024');
    assert.match(html, /<b>HTTP Requests:<\/b><\/td><td width="50%">[1-9][0-9,]*<\/td>/);

    const images = await assertImagesLoad(page, 'report');
    const logo = images.find((i) => i.src.endsWith('/ll14-reg.gif'));
    assert.ok(logo && logo.width === 278 && logo.height === 75, 'the logo is 278x75');
    for (const bar of ['red2x5.gif', 'blue2x5.gif']) {
      const img = images.find((i) => i.src.endsWith(`/${bar}`));
      assert.ok(img && img.height === 5, `the bar ${bar} is shown and is 5 pixels high`);
    }
    // The jump bar leads to every section.
    for (const anchor of ['urls', 'referrers', 'search', 'browsers', 'badurls', 'badreferrers',
      'domains', 'networks', 'daily', 'weekly', 'hourly']) {
      assert.equal(await page.locator(`a[name="${anchor}"]`).count(), 1, `anchor ${anchor}`);
      assert.ok(await page.locator(`a[href="#${anchor}"]`).count() >= 1, `jump link to ${anchor}`);
    }
    await page.screenshot({ path: path.join(shots, 'browser-report.png'), fullPage: true });
    await page.close();
  });

  test('counts what the form asked for', { timeout: 60000 }, async () => {
    const page = await newPage();
    const response = await submitForm(page, {
      username: 'e2e', password: 'lantern',
      sm: '03', sd: '01', sy: '2024', em: '03', ed: '31', ey: '2024',
      referrers: false, requests_top: '1',
    });
    const html = await response.text();
    // Nine requests in March; the two of February lie outside the range.
    assert.match(html, /<b>HTTP Requests:<\/b><\/td><td width="50%">9<\/td>/);
    assert.match(html, /<b>Date Range Analyzed:<\/b><\/td><td width="50%">03\/01\/2024 - 03\/31\/2024<\/td>/);
    assert.ok(!html.includes('<b>Top Referrers To Your Site</b>'), 'a section switched off is left out');
    assert.match(html, /This report shows the top 1 URLs/, 'the row limit reached the program');
    assert.ok(html.includes('http://www.example.com/index.html'), 'the top URL is linked on the site');
    assert.ok(html.includes('lantern logs'), 'the search phrase is found');
    assert.ok(html.includes('/missing.html'), 'the bad URL is listed');
    await page.close();
  });
});

describe('errors and information pages', () => {
  test('a wrong password gives error 2 through the server', { timeout: 60000 }, async () => {
    const page = await newPage();
    const response = await submitForm(page, {
      username: 'sample', password: 'not-the-password',
      sm: '03', sd: '01', sy: '2024', em: '03', ed: '31', ey: '2024',
    });
    assert.equal(response.status(), 200);
    assertSecurityHeaders(response.headers(), 'error page');
    assert.equal(await page.title(), 'Loglantern: Error #2');
    const html = await response.text();
    assert.ok(html.includes('Invalid user account name and/or password</h2>'));
    assert.doesNotMatch(html, /HTTP Requests:/, 'no report data');
    const images = await assertImagesLoad(page, 'error page');
    assert.ok(images.some((i) => i.src.endsWith('/Loglantern/errors/2.gif') && i.width === 283 && i.height === 84),
      'the error image of number 2 is shown at 283x84');
    assert.ok(await assertLinksWork(html, page.url()) >= 1, 'the error page links to its help');
    await page.screenshot({ path: path.join(shots, 'browser-error.png'), fullPage: true });

    const errorLog = fs.readFileSync(path.join(site.LOGLANTERN_DATA_DIR, 'errors.log'), 'utf8');
    assert.match(errorLog, /\] Unauthorized access from '.*' with username='sample'\n/);
    await page.close();
  });

  test('a report address opened without the form gives error 1', async () => {
    const res = await fetch(cgiUrl);
    assert.equal(res.status, 200);
    assert.match(await res.text(), /<title>Loglantern: Error #1<\/title>/);
  });

  test('the about and credits pages answer and link to each other', { timeout: 60000 }, async () => {
    const page = await newPage();
    const about = await page.goto(`${cgiUrl}?about`);
    assert.equal(about.status(), 200);
    assertSecurityHeaders(about.headers(), 'about page');
    assert.match(await page.title(), /^About Loglantern Version 1\.4\.3$/);
    assert.match(await page.textContent('h2'), /Loglantern 1\.4\.3 build 43/);
    await assertLinksWork(await about.text(), page.url());

    await page.click('text=View program credits');
    await page.waitForLoadState('load');
    assert.equal(await page.title(), 'Loglantern: Credits');
    const credits = await page.content();
    assert.match(credits, /<b>Developers<\/b>/);
    assert.match(credits, /<b>Special thanks to<\/b>/);
    await page.click('text=Version information');
    await page.waitForLoadState('load');
    assert.match(await page.title(), /^About Loglantern/);
    await page.close();
  });

  test('the images are also served under the default image path', async () => {
    for (const name of ['ll14-reg.gif', 'red2x5.gif', 'blue2x5.gif']) {
      const res = await fetch(`${base}/loglantern/${name}`);
      assert.equal(res.status, 200, name);
      assert.equal(res.headers.get('content-type'), 'image/gif');
    }
  });

  test('the configuration file and other files beside the program are not served', async () => {
    for (const name of ['loglantern.conf', 'loglantern.conf.sample']) {
      const res = await fetch(`${base}/cgi-bin/${name}`);
      assert.equal(res.status, 403, name);
    }
  });
});

describe('manual', () => {
  test('pages answer, have the sections the program points to, and their links work', { timeout: 60000 }, async () => {
    const pages = {
      '/Loglantern/manual/': ['support'],
      '/Loglantern/manual/errors.html': Array.from({ length: 11 }, (_, i) => `error${i + 1}`),
      '/Loglantern/manual/configuration.html': ['logs', 'accounts', 'LoglanternPath'],
      '/Loglantern/manual/form.html': ['sections'],
      '/Loglantern/manual/security.html': ['operator'],
    };
    for (const [page, ids] of Object.entries(pages)) {
      const res = await fetch(`${base}${page}`);
      assert.equal(res.status, 200, page);
      assertSecurityHeaders(Object.fromEntries(res.headers), page);
      const html = await res.text();
      for (const id of ids) assert.ok(html.includes(`id="${id}"`), `${page} has #${id}`);
      assert.doesNotMatch(html, /<script/i, `${page} has no script`);
      await assertLinksWork(html, `${base}${page}`);
    }
    const form = await (await fetch(formUrl)).text();
    await assertLinksWork(form, formUrl);
  });
});

describe('hostile log data', () => {
  test('markup from a log line is in the page but its script does not run', { timeout: 60000 }, async () => {
    const page = await newPage();
    let dialogs = 0;
    page.on('dialog', async (d) => { dialogs += 1; await d.dismiss(); });
    const response = await submitForm(page, {
      username: 'hostile', sm: '03', sd: '01', sy: '2024', em: '03', ed: '31', ey: '2024',
    });
    const html = await response.text();
    assert.ok(html.includes(HOSTILE_SCRIPT), 'the program wrote the markup as it stands');
    assert.ok(await page.locator('script').count() >= 1, 'the browser parsed it as a script element');
    await page.waitForTimeout(500);
    assert.equal(await page.title(), 'Web Site Analysis', 'the script did not change the title');
    assert.equal(dialogs, 0);
    assert.match(response.headers()['content-security-policy'], /sandbox (?![^;]*allow-scripts)/, 'a sandbox without scripts');
    await page.close();

    // The same page without the server's headers does run the script: the
    // test data is a live attack, and the headers are what stop it.
    const bare = await newPage();
    await bare.setContent(html);
    await bare.waitForFunction(() => document.title === 'owned', null, { timeout: 5000 });
    await bare.close();
  });
});

describe('hostile log data, continued', () => {
  test('a meta refresh from a log leaves the reader on the site, and report links still open', { timeout: 60000 }, async () => {
    const page = await newPage();
    const response = await submitForm(page, {
      username: 'refresh', sm: '03', sd: '01', sy: '2024', em: '03', ed: '31', ey: '2024',
    });
    assert.ok((await response.text()).includes(HOSTILE_REFRESH), 'the program wrote the refresh as it stands');
    await page.waitForTimeout(1500);
    assert.equal(page.url(), cgiUrl, 'the page did not follow the refresh');
    const popup = page.waitForEvent('popup');
    await page.locator(`a[href="${base}/index.html"]`).first().click();
    const opened = await popup;
    await opened.waitForLoadState();
    assert.equal(opened.url(), `${base}/index.html`, 'the link opened in a new window');
    await opened.close();
    await page.close();
  });
});

describe('program health', () => {
  test('the program reported no sanitizer findings', () => {
    const logFile = process.env.LOGLANTERN_SERVER_LOG;
    if (!logFile || !fs.existsSync(logFile)) return;
    const log = fs.readFileSync(logFile, 'utf8');
    assert.doesNotMatch(log, /AddressSanitizer|LeakSanitizer|runtime error:/);
  });
});
