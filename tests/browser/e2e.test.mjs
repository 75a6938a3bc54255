// An installed site, served by lighttpd or Apache httpd, used by a headless Chromium as a person would.
// tests/scripts/browser_e2e.sh passes LOGLANTERN_URL (the server), LOGLANTERN_SITE_ENV (the install's
// site.env), LOGLANTERN_SHOTS (where screenshots go) and CHROMIUM.
import { after, before, test } from 'node:test';
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { chromium } from 'playwright-core';

const base = process.env.LOGLANTERN_URL;
const site = Object.fromEntries(fs.readFileSync(process.env.LOGLANTERN_SITE_ENV, 'utf8')
  .split('\n').map((line) => /^(\w+)='(.*)'$/.exec(line)).filter(Boolean).map((m) => [m[1], m[2]]));
const shot = (name) => ({ path: path.join(process.env.LOGLANTERN_SHOTS, `browser-${name}.png`), fullPage: true });
const cgi = site.LOGLANTERN_CGI_URL;
const MARCH = { sm: '03', sd: '01', sy: '2024', em: '03', ed: '31', ey: '2024' };
const SECTION_TITLES = ['Top URLs Requested', 'Top Referrers To Your Site', 'Search Phrases',
  'Most Common Browsers', 'Bad URLs', 'Bad Referrers', 'User Domain Analysis', 'Types Of Domains',
  'Daily Totals', 'Hits Per Day of Week', 'Hits Per Hour', 'Visitors and Visits', 'Pages',
  'Status Codes', 'Browser Families', 'Robots'];
const LISTS = ['requests', 'referrers', 'search', 'browsers', 'badurls', 'badreferrers', 'domains', 'domaintypes'];
const ON_BY_DEFAULT = ['subdirs', ...LISTS, 'dailytotals', 'hitsperdayofweek', 'hitsperhour', 'visitors', 'pages',
  'statuscodes', 'browserfamilies', 'robots'];
const FIELDS = ['username', 'password', ...Object.keys(MARCH), 'find', 'find_pattern', 'find_casesensitive',
  'showquery', ...LISTS.flatMap((s) => [`${s}_top`, `${s}_greater`]), 'search_casesensitive', 'badurl_referrers',
  'filter_domains', 'filter_referrers', 'filter_filetypes', 'authrealm', 'authuser', 'title', 'dnslookupenabled',
  'flushtoserver', 'smartmemorydisabled', ...ON_BY_DEFAULT];
const HOSTILE = ["<script>document.title='owned'</script>", '<meta http-equiv=refresh content=0;url=http://127.0.0.2:9/away>'];

let browser;

// Fills in and sends the form (on the given page, or a new one); returns the page and the program's response.
async function submitForm(fields, page) {
  page ??= await browser.newPage({ viewport: { width: 1100, height: 900 } });
  if (page.url() === 'about:blank') await page.goto(`${base}/Loglantern/`);
  for (const [name, value] of Object.entries(fields)) {
    const control = page.locator(`[name="${name}"]`);
    if (await control.evaluate((el) => el.tagName === 'SELECT')) await control.selectOption(value);
    else await control.fill(value);
  }
  const response = page.waitForResponse((r) => r.url() === `${base}${cgi}` && r.request().method() === 'POST');
  await page.click('button[type="submit"]');
  await page.waitForURL(`${base}${cgi}`);  // and its load
  return [page, await response];
}

function assertSecurityHeaders({ 'content-security-policy': csp = '', ...headers }, what) {
  assert.ok(csp.includes("default-src 'none'") && !/script-src[^;]*'unsafe/.test(csp), what);
  assert.equal(headers['x-content-type-options'], 'nosniff', what);
  assert.equal(headers['referrer-policy'], 'no-referrer', what);
}

// Every image of the page was decoded and answers 200 as an image; returns their addresses.
async function assertImagesLoad(page, what) {
  const images = await page.evaluate(() => Array.from(document.images)
    .map((i) => [i.currentSrc || i.src, i.complete && i.naturalWidth > 0]));
  assert.ok(images.length > 0, `${what}: has images`);
  for (const [src, decoded] of images) {
    const res = await fetch(src);
    assert.ok(decoded && res.status === 200 && /^image\//.test(res.headers.get('content-type')), `${what}: ${src}`);
  }
  return images.map(([src]) => src);
}

before(async () => {  // an account over hostile.log, whose referrers and browsers carry the HOSTILE markup
  const dir = path.join(site.LOGLANTERN_DATA_DIR, 'hostile-logs');
  fs.mkdirSync(dir, { recursive: true });
  fs.copyFileSync(new URL('hostile.log', import.meta.url), path.join(dir, 'access.log'));
  fs.appendFileSync(path.join(site.LOGLANTERN_CGI_DIR, 'loglantern.conf'), `user=hostile;password=*;url=${base};logs=${dir}/*.log\n`);
  browser = await chromium.launch({ executablePath: process.env.CHROMIUM, args: ['--no-sandbox', '--disable-gpu',
    '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync'] });
});
after(() => browser?.close());

test('the form labels every field, defaults to the last 30 days and follows Tab; its report has every section and image',
  { timeout: 120000 }, async () => {
    const page = await browser.newPage({ viewport: { width: 1100, height: 900 } });
    assertSecurityHeaders((await page.goto(`${base}/Loglantern/`)).headers(), 'form');
    const controls = await page.evaluate(() => Array.from(document.querySelectorAll('form [name]')).map((el) =>
      [el.name, el.labels.length > 0 && Boolean(el.closest('fieldset')?.querySelector('legend'))]));
    const names = controls.map(([name]) => name);
    for (const [name, labelled] of controls) assert.ok(labelled, `field ${name} has a label and a fieldset with a legend`);
    for (const field of FIELDS) assert.ok(names.includes(field), `form has a field ${field}`);
    // A section switch sets its row limits back to "all", so it must come first.
    for (const s of LISTS) assert.ok(names.indexOf(s) < Math.min(names.indexOf(`${s}_top`), names.indexOf(`${s}_greater`)), s);
    assert.equal(await page.locator('script').count(), 0, 'no script on the form');
    assert.equal(await page.getAttribute('form', 'action'), cgi);
    assert.equal(await page.inputValue('#find'), '/');
    for (const s of ON_BY_DEFAULT) assert.ok(await page.isChecked(`#${s}`), `${s} is on`);
    const value = (id) => page.inputValue(`#${id}`);  // below, noon of the first (s) or last (e) day
    const day = async (p) => new Date(`${await value(`${p}y`)}-${await value(`${p}m`)}-${await value(`${p}d`)}T12:00`);
    assert.equal(Math.round((await day('e') - await day('s')) / 86400000), 29, 'the range spans 30 days');
    assert.ok(Math.abs(Date.now() - await day('e')) < 2 * 86400000, 'the range ends today');
    for (const id of ['username', 'password', ...Object.keys(MARCH)]) {
      assert.equal(await page.evaluate(() => document.activeElement.id), id, 'the focus starts on the account, Tab goes on');
      await page.keyboard.press('Tab');
    }
    await assertImagesLoad(page, 'form');
    await page.screenshot(shot('form'));

    const [, response] = await submitForm({ username: 'sample', password: 'sample', ...MARCH, requests_top: '1' }, page);
    assertSecurityHeaders(response.headers(), 'report');
    assert.equal(await page.title(), 'Web Site Analysis');
    const html = await response.text();
    for (const title of SECTION_TITLES) assert.ok(html.includes(`<b>${title}</b>`), `section ${title}`);
    assert.match(html, /<b>HTTP Requests:<\/b><\/td><td width="50%">[1-9][0-9,]*<\/td>/);
    assert.match(html, /Date Range Analyzed:<\/b><\/td><td width="50%">03\/01\/2024 - 03\/31\/2024</);
    assert.match(html, /This report shows the top 1 URLs/, 'the row limit reached the program');
    const images = await assertImagesLoad(page, 'report');
    for (const name of ['ll14-reg', 'red2x5', 'blue2x5']) assert.ok(images.some((src) => src.endsWith(`/${name}.gif`)), name);
    await page.screenshot(shot('report'));
  });

test('a wrong password gives error 2 with its image, help link and error-log line', { timeout: 60000 }, async () => {
  const [page, response] = await submitForm({ username: 'sample', password: 'not-the-password', ...MARCH });
  assertSecurityHeaders(response.headers(), 'error page');
  assert.equal(await page.title(), 'Loglantern: Error #2');
  const html = await response.text();
  assert.ok(html.includes('Invalid user account name and/or password</h2>'));
  assert.ok((await assertImagesLoad(page, 'error page')).some((src) => src.endsWith('/Loglantern/errors/2.gif')), 'its image');
  const links = [...html.matchAll(/href="(\/[^"]*)"/g)].map((m) => new URL(m[1], base).href);
  assert.ok(links.some((link) => link.endsWith('/manual/errors.html')), 'the error page links to its help');
  for (const link of links) assert.equal((await fetch(link)).status, 200, link);
  await page.screenshot(shot('error'));
  const errorLog = fs.readFileSync(path.join(site.LOGLANTERN_DATA_DIR, 'errors.log'), 'utf8');
  assert.match(errorLog, /\] Unauthorized access from '.*' with username='sample'\n/);
});

test('markup from a log line is in the page, but its script does not run nor its refresh move the reader',
  { timeout: 60000 }, async () => {
    const [page, response] = await submitForm({ username: 'hostile', ...MARCH });
    const html = await response.text();
    for (const text of HOSTILE) assert.ok(html.includes(text), `the page holds ${text} as it stands`);
    assert.ok(await page.locator('script').count() >= 1, 'the browser parsed it as a script element');
    assert.match(response.headers()['content-security-policy'], /sandbox (?![^;]*allow-scripts)/);
    await page.waitForTimeout(1500);
    assert.equal(await page.title(), 'Web Site Analysis', 'the script did not change the title');
    assert.equal(page.url(), `${base}${cgi}`, 'the page did not follow the refresh');
    const popup = page.waitForEvent('popup');
    await page.locator(`a[href="${base}/index.html"]`).first().click();
    assert.equal((await popup).url(), `${base}/index.html`, 'a report link still opens, in a new window');
    // Without the server's headers the same page does run it: the data is a live attack.
    const bare = await browser.newPage();
    await bare.setContent(html.replace(/<meta[^>]*>/gi, ''));
    await bare.waitForFunction(() => document.title === 'owned', null, { timeout: 5000 });
  });
