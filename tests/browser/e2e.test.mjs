// End-to-end test of an installed Loglantern site: a web server (lighttpd or
// Apache httpd) serves the form, images and manual and runs the program as a
// CGI program; a headless Chromium fills in the form as a person would.
// Started by tests/scripts/browser_e2e.sh, which passes LOGLANTERN_URL (the
// server), LOGLANTERN_SITE_ENV (the install's site.env), LOGLANTERN_SERVER_LOG
// (the program's stderr), LOGLANTERN_SHOTS (screenshots) and CHROMIUM.
import { after, before, test } from 'node:test';
import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { execFileSync } from 'node:child_process';
import { chromium } from 'playwright-core';

const base = process.env.LOGLANTERN_URL;
const site = Object.fromEntries(fs.readFileSync(process.env.LOGLANTERN_SITE_ENV, 'utf8')
  .split('\n').map((line) => /^(\w+)='(.*)'$/.exec(line)).filter(Boolean).map((m) => [m[1], m[2]]));
const shots = process.env.LOGLANTERN_SHOTS || os.tmpdir();
const formUrl = `${base}/Loglantern/`;
const cgiUrl = `${base}${site.LOGLANTERN_CGI_URL}`;
const MARCH = { sm: '03', sd: '01', sy: '2024', em: '03', ed: '31', ey: '2024' };
const REQUESTS = (n) => new RegExp(`<b>HTTP Requests:</b></td><td width="50%">${n}</td>`);

const SECTION_TITLES = ['Top URLs Requested', 'Top Referrers To Your Site', 'Search Phrases',
  'Most Common Browsers', 'Bad URLs', 'Bad Referrers', 'User Domain Analysis', 'Types Of Domains',
  'Daily Totals', 'Hits Per Day of Week', 'Hits Per Hour', 'Visitors and Visits', 'Pages',
  'Status Codes', 'Browser Families', 'Robots'];
const NEW_SECTIONS = ['visitors', 'pages', 'statuscodes', 'browserfamilies', 'robots'];
const LIST_SECTIONS = ['requests', 'referrers', 'search', 'browsers', 'badurls', 'badreferrers',
  'domains', 'domaintypes'];
const ON_BY_DEFAULT = [...LIST_SECTIONS, 'dailytotals', 'hitsperdayofweek', 'hitsperhour', ...NEW_SECTIONS];
const FORM_FIELDS = ['username', 'password', ...Object.keys(MARCH), 'find', 'subdirs', 'find_pattern',
  'find_casesensitive', 'showquery', ...LIST_SECTIONS.flatMap((s) => [`${s}_top`, `${s}_greater`]),
  'search_casesensitive', 'badurl_referrers', 'filter_domains', 'filter_referrers', 'filter_filetypes',
  'authrealm', 'authuser', 'title', 'dnslookupenabled', 'flushtoserver', 'smartmemorydisabled', ...ON_BY_DEFAULT];
const HOSTILE_SCRIPT = "<script>document.title='owned'</script>";
const HOSTILE_REFRESH = '<meta http-equiv=refresh content=0;url=http://127.0.0.2:9/away>';

// A small site in March 2024, and a line in February outside the report range.
const FIREFOX = 'Mozilla/5.0 (X11; Linux x86_64) Firefox/115.0';
const E2E_LOG = [
  ['192.0.2.10', '20/Feb/2024:09:00:00', '/old.html', 200, '-', FIREFOX],
  ['192.0.2.10', '04/Mar/2024:09:15:00', '/index.html', 200, 'http://www.google.com/search?q=lantern+logs', FIREFOX],
  ['ws1.lab.example.org', '04/Mar/2024:10:20:00', '/docs/guide.html', 200, 'http://www.example.com/index.html', FIREFOX],
  ['198.51.100.7', '05/Mar/2024:14:30:00', '/missing.html', 404, 'http://links.example.net/page.html',
    'Mozilla/4.0 (compatible; MSIE 6.0; Windows NT 5.1)'],
  ['host.example.de', '08/Mar/2024:08:05:00', '/index.html', 200, '-', FIREFOX],
];

let browser;
let userDataDir;

// Writes a combined-format log and an account line that reads it.
function addAccount(name, password, rows, url = 'http://www.example.com') {
  const dir = path.join(site.LOGLANTERN_DATA_DIR, `${name}-logs`);
  fs.mkdirSync(dir, { recursive: true });
  fs.writeFileSync(path.join(dir, 'access.log'), rows.map(([host, time, url, status, referrer, agent]) =>
    `${host} - - [${time} +0000] "GET ${url} HTTP/1.1" ${status} 1500 "${referrer}" "${agent}"\n`).join(''));
  fs.appendFileSync(path.join(site.LOGLANTERN_CGI_DIR, 'loglantern.conf'),
    `user=${name};password=${password};url=${url};logs=${dir}/*.log\n`);
}

const newPage = () => browser.newPage();

const cgiAnswer = (page) => page.waitForResponse((r) => r.url() === cgiUrl && r.request().method() === 'POST');

// Opens the form, sets the given fields (text, select or checkbox), submits
// it and returns the program's response once the answer has loaded.
async function submitForm(page, fields) {
  await page.goto(formUrl);
  for (const [name, value] of Object.entries(fields)) {
    const control = page.locator(`[name="${name}"]`);
    const kind = await control.evaluate((el) => (el.tagName === 'SELECT' ? 'select' : el.type));
    if (kind === 'select') await control.selectOption(value);
    else if (kind === 'checkbox') await control.setChecked(Boolean(value));
    else await control.fill(String(value));
  }
  const answer = cgiAnswer(page);
  await page.click('button[type="submit"]');
  const response = await answer;
  await page.waitForLoadState('load');
  return response;
}

function assertSecurityHeaders(headers, what) {
  assert.match(headers['content-security-policy'] || '', /default-src 'none'/, what);
  assert.doesNotMatch(headers['content-security-policy'], /script-src[^;]*'unsafe/, what);
  assert.equal(headers['x-content-type-options'], 'nosniff', what);
  assert.equal(headers['referrer-policy'], 'no-referrer', what);
}

// Every image of the page was decoded and answers 200 as an image.
async function assertImagesLoad(page, what) {
  const images = await page.evaluate(() => Array.from(document.images).map((img) => ({
    src: img.currentSrc || img.src, ok: img.complete && img.naturalWidth > 0 })));
  assert.ok(images.length > 0, `${what}: has images`);
  for (const img of images) {
    assert.ok(img.ok, `${what}: image ${img.src} decoded`);
    const res = await fetch(img.src);
    assert.equal(res.status, 200, img.src);
    assert.match(res.headers.get('content-type') || '', /^image\//, img.src);
  }
  return images;
}

// Every same-site link of an HTML text answers 200, and its #fragment exists.
async function assertLinksWork(html, pageUrl) {
  const targets = new Set([...html.matchAll(/href="([^"]+)"/gi)]
    .map((m) => new URL(m[1].replaceAll('&amp;', '&'), pageUrl)).filter((u) => u.origin === new URL(base).origin)
    .map((u) => u.href));
  for (const target of targets) {
    const url = new URL(target);
    const res = await fetch(url.href.replace(/#.*/, ''));
    assert.equal(res.status, 200, `link ${target} from ${pageUrl}`);
    const id = decodeURIComponent(url.hash.slice(1));
    const body = await res.text();
    if (id) assert.ok(body.includes(`id="${id}"`) || body.includes(`name="${id}"`), `anchor ${target}`);
  }
  return targets.size;
}

before(async () => {
  assert.ok(base, 'LOGLANTERN_URL is set');
  addAccount('e2e', 'lantern', E2E_LOG);
  addAccount('hostile', '*', [['203.0.113.5', '06/Mar/2024:12:00:00', '/index.html', 200,
    `http://evil.example/${HOSTILE_SCRIPT}`, `Mozilla/5.0 ${HOSTILE_SCRIPT} <img src=x onerror=document.title='owned'>`]]);
  addAccount('refresh', '*', [['203.0.113.6', '06/Mar/2024:12:00:00', '/index.html', 200,
    `http://evil.example/${HOSTILE_REFRESH}`, 'Mozilla/5.0']], base);
  userDataDir = fs.mkdtempSync(path.join(os.tmpdir(), 'loglantern-chromium-'));
  browser = await chromium.launchPersistentContext(userDataDir, {
    executablePath: process.env.CHROMIUM || '/usr/bin/chromium',
    headless: true,
    viewport: { width: 1100, height: 900 },
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync'],
  });
  browser.setDefaultTimeout(30000);
});

after(async () => {
  if (browser) await browser.close();
  if (userDataDir) fs.rmSync(userDataDir, { recursive: true, force: true });
});

test('the form labels every field, has no script and defaults to the last 30 days', { timeout: 60000 }, async () => {
  const page = await newPage();
  const response = await page.goto(formUrl);
  assert.equal(response.status(), 200);
  assertSecurityHeaders(response.headers(), 'form');
  const controls = await page.evaluate(() => Array.from(document.querySelectorAll('form [name]')).map((el) => ({
    name: el.name, ok: el.labels.length > 0 && Boolean(el.closest('fieldset')?.querySelector('legend')) })));
  const names = controls.map((c) => c.name);
  for (const c of controls) assert.ok(c.ok, `field ${c.name} has a label and a fieldset with a legend`);
  for (const field of FORM_FIELDS) assert.ok(names.includes(field), `form has a field ${field}`);
  // A section switch sets its row limits back to "all", so it must come first.
  for (const s of LIST_SECTIONS) {
    assert.ok(names.indexOf(s) < Math.min(names.indexOf(`${s}_top`), names.indexOf(`${s}_greater`)), s);
  }
  assert.equal(await page.locator('script').count(), 0, 'no script on the form');
  assert.equal(await page.getAttribute('form', 'action'), site.LOGLANTERN_CGI_URL);
  assert.equal(await page.inputValue('#find'), '/');
  for (const s of ['subdirs', ...ON_BY_DEFAULT]) assert.ok(await page.isChecked(`#${s}`), `${s} is on`);
  const day = async (m, d, y) => new Date(Number(await page.inputValue(y)), Number(await page.inputValue(m)) - 1,
    Number(await page.inputValue(d)), 12);
  const end = await day('#em', '#ed', '#ey');
  assert.equal(Math.round((end - await day('#sm', '#sd', '#sy')) / 86400000), 29, 'the range spans 30 days');
  assert.ok(Math.abs(Date.now() - end) < 2 * 86400000, 'the range ends today');
  await assertImagesLoad(page, 'form');
  await page.screenshot({ path: path.join(shots, 'browser-form.png'), fullPage: true });
  await page.close();
});

test('the installed form renderer crosses month, leap-day and year ends', () => {
  const render = (end, days) => {
    const out = path.join(os.tmpdir(), `loglantern-form-${process.pid}.html`);
    execFileSync('sh', [path.join(site.LOGLANTERN_SHARE_DIR, 'render-form.sh'),
      path.join(site.LOGLANTERN_SHARE_DIR, 'index.html.in'), out, '--end', end, '--days', String(days)],
    { stdio: 'pipe' });
    const html = fs.readFileSync(out, 'utf8');
    fs.rmSync(out);
    assert.doesNotMatch(html, /@[A-Z_]+@/, 'every placeholder is filled');
    const sel = (n) => new RegExp(`<select id="${n}"[^]*?<option value="(\\d\\d)" selected>`).exec(html)[1];
    const year = (n) => new RegExp(`id="${n}" name="${n}" value="(\\d+)"`).exec(html)[1];
    return [sel('sm'), sel('sd'), year('sy'), sel('em'), sel('ed'), year('ey')].join(' ');
  };
  const cases = [['2024-03-01', 30, '02 01 2024 03 01 2024'], ['2023-03-01', 30, '01 31 2023 03 01 2023'],
    ['2025-01-10', 30, '12 12 2024 01 10 2025'], ['2024-06-15', 1, '06 15 2024 06 15 2024']];
  for (const [end, days, expected] of cases) assert.equal(render(end, days), expected, end);
  for (const [end, days] of [['bogus', 30], ['2024-03-01', 0]]) assert.throws(() => render(end, days), end);
});

test('the form is sent from the keyboard and the program counts what it asked for', { timeout: 60000 }, async () => {
  const page = await newPage();
  await page.goto(formUrl);
  const focused = () => page.evaluate(() => document.activeElement.id);
  assert.equal(await focused(), 'username', 'the account name has the focus');
  await page.uncheck('#referrers');
  await page.fill('#requests_top', '1');
  await page.focus('#username');
  await page.keyboard.type('e2e');
  await page.keyboard.press('Tab');
  await page.keyboard.type('lantern');
  // Tab on through the date fields: typing picks a month or day in a list.
  for (const [id, text] of [['sm', 'Mar'], ['sd', '1'], ['sy', '2024'], ['em', 'Mar'], ['ed', '31'], ['ey', '2024']]) {
    await page.keyboard.press('Tab');
    assert.equal(await focused(), id, `Tab reaches ${id}`);
    if (id.endsWith('y')) await page.keyboard.press('Control+A');
    await page.keyboard.type(text);
  }
  const answer = cgiAnswer(page);
  await page.keyboard.press('Enter');
  const html = await (await answer).text();
  // Four requests in March; the one of February lies outside the range.
  assert.match(html, REQUESTS(4));
  assert.match(html, /Date Range Analyzed:<\/b><\/td><td width="50%">03\/01\/2024 - 03\/31\/2024</);
  assert.ok(!html.includes('<b>Top Referrers To Your Site</b>'), 'a section switched off is left out');
  assert.match(html, /This report shows the top 1 URLs/, 'the row limit reached the program');
  for (const text of ['http://www.example.com/index.html', 'lantern logs', '/missing.html']) assert.ok(html.includes(text), text);
  await page.close();
});

test('the sample account\'s report has every section, the new ones ticked, and its images load', { timeout: 120000 }, async () => {
  const page = await newPage();
  const response = await submitForm(page, { username: 'sample', password: 'sample', ...MARCH,
    ...Object.fromEntries(NEW_SECTIONS.map((s) => [s, true])) });
  assert.equal(response.status(), 200);
  assertSecurityHeaders(response.headers(), 'report');
  assert.equal(await page.title(), 'Web Site Analysis');
  const html = await response.text();
  for (const title of SECTION_TITLES) assert.ok(html.includes(`<b>${title}</b>`), `section ${title}`);
  assert.match(html, REQUESTS('[1-9][0-9,]*'));
  const images = await assertImagesLoad(page, 'report');
  for (const name of ['ll14-reg.gif', 'red2x5.gif', 'blue2x5.gif']) assert.ok(images.some((i) => i.src.endsWith(`/${name}`)), name);
  await page.screenshot({ path: path.join(shots, 'browser-report.png'), fullPage: true });
  await page.close();
});

test('a wrong password gives error 2 with its image, help link and error-log line', { timeout: 60000 }, async () => {
  const page = await newPage();
  const response = await submitForm(page, { username: 'sample', password: 'not-the-password', ...MARCH });
  assert.equal(response.status(), 200);
  assertSecurityHeaders(response.headers(), 'error page');
  assert.equal(await page.title(), 'Loglantern: Error #2');
  const html = await response.text();
  assert.ok(html.includes('Invalid user account name and/or password</h2>'));
  const images = await assertImagesLoad(page, 'error page');
  assert.ok(images.some((i) => i.src.endsWith('/Loglantern/errors/2.gif')), 'the image of error 2');
  assert.ok(await assertLinksWork(html, page.url()) >= 1, 'the error page links to its help');
  await page.screenshot({ path: path.join(shots, 'browser-error.png'), fullPage: true });
  const errorLog = fs.readFileSync(path.join(site.LOGLANTERN_DATA_DIR, 'errors.log'), 'utf8');
  assert.match(errorLog, /\] Unauthorized access from '.*' with username='sample'\n/);
  await page.close();
});

test('the about and credits pages answer and link to each other', { timeout: 60000 }, async () => {
  const page = await newPage();
  const about = await page.goto(`${cgiUrl}?about`);
  assertSecurityHeaders(about.headers(), 'about page');
  assert.match(await page.title(), /^About Loglantern Version 1\.4\.3$/);
  await assertLinksWork(await about.text(), page.url());
  await page.click('text=View program credits');
  await page.waitForLoadState('load');
  assert.equal(await page.title(), 'Loglantern: Credits');
  await page.click('text=Version information');
  await page.waitForLoadState('load');
  assert.match(await page.title(), /^About Loglantern/);
  await page.close();
});

test('the server serves the default image path and hides the files beside the program', async () => {
  const cases = [['/loglantern/ll14-reg.gif', 200], ['/loglantern/red2x5.gif', 200], ['/loglantern/blue2x5.gif', 200],
    ['/cgi-bin/loglantern.conf', 403], ['/cgi-bin/loglantern.conf.sample', 403]];
  for (const [url, status] of cases) {
    const res = await fetch(`${base}${url}`);
    assert.equal(res.status, status, url);
    if (status === 200) assert.equal(res.headers.get('content-type'), 'image/gif', url);
  }
});

test('the manual pages have the sections the program points to, and every link works', { timeout: 60000 }, async () => {
  const pages = {
    '/Loglantern/manual/': ['support'],
    '/Loglantern/manual/errors.html': Array.from({ length: 11 }, (_, i) => `error${i + 1}`),
    '/Loglantern/manual/configuration.html': ['logs', 'accounts', 'LoglanternPath'],
    '/Loglantern/manual/form.html': ['sections'],
    '/Loglantern/manual/security.html': ['operator'],
    '/Loglantern/': [],
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
});

test('markup from a log line is in the page but its script does not run', { timeout: 60000 }, async () => {
  const page = await newPage();
  let dialogs = 0;
  page.on('dialog', async (d) => { dialogs += 1; await d.dismiss(); });
  const response = await submitForm(page, { username: 'hostile', ...MARCH });
  const html = await response.text();
  assert.ok(html.includes(HOSTILE_SCRIPT), 'the program wrote the markup as it stands');
  assert.ok(await page.locator('script').count() >= 1, 'the browser parsed it as a script element');
  await page.waitForTimeout(500);
  assert.equal(await page.title(), 'Web Site Analysis', 'the script did not change the title');
  assert.equal(dialogs, 0);
  assert.match(response.headers()['content-security-policy'], /sandbox (?![^;]*allow-scripts)/);
  await page.close();
  // Without the server's headers the same page does run it: the data is a live attack.
  const bare = await newPage();
  await bare.setContent(html);
  await bare.waitForFunction(() => document.title === 'owned', null, { timeout: 5000 });
  await bare.close();
});

test('a meta refresh from a log leaves the reader on the site, and report links still open', { timeout: 60000 }, async () => {
  const page = await newPage();
  const response = await submitForm(page, { username: 'refresh', ...MARCH });
  assert.ok((await response.text()).includes(HOSTILE_REFRESH), 'the program wrote the refresh as it stands');
  await page.waitForTimeout(1500);
  assert.equal(page.url(), cgiUrl, 'the page did not follow the refresh');
  const popup = page.waitForEvent('popup');
  await page.locator(`a[href="${base}/index.html"]`).first().click();
  const opened = await popup;
  await opened.waitForLoadState();
  assert.equal(opened.url(), `${base}/index.html`, 'the link opened in a new window');
  await page.close();
});

test('the program reported no sanitizer findings', () => {
  const logFile = process.env.LOGLANTERN_SERVER_LOG;
  if (logFile && fs.existsSync(logFile)) {
    assert.doesNotMatch(fs.readFileSync(logFile, 'utf8'), /AddressSanitizer|LeakSanitizer|runtime error:/);
  }
});
