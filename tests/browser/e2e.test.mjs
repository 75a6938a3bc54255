// End-to-end test of an installed Loglantern site: a web server (lighttpd or
// Apache httpd) serves the form, images and manual and runs the program as a
// CGI program; a headless Chromium fills in the form as a person would.
// Started by tests/scripts/browser_e2e.sh, which passes LOGLANTERN_URL (the
// server), LOGLANTERN_SITE_ENV (the install's site.env), LOGLANTERN_SHOTS
// (where screenshots go) and CHROMIUM.
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
const FIELDS = ['username', 'password', ...Object.keys(MARCH), 'find', 'find_pattern', 'find_casesensitive', 'showquery',
  ...LISTS.flatMap((s) => [`${s}_top`, `${s}_greater`]), 'search_casesensitive', 'badurl_referrers', 'filter_domains',
  'filter_referrers', 'filter_filetypes', 'authrealm', 'authuser', 'title', 'dnslookupenabled', 'flushtoserver',
  'smartmemorydisabled', ...ON_BY_DEFAULT];
const HOSTILE_SCRIPT = "<script>document.title='owned'</script>";
const HOSTILE_REFRESH = '<meta http-equiv=refresh content=0;url=http://127.0.0.2:9/away>';

let browser;
const answer = (page) => page.waitForResponse((r) => r.url() === `${base}${cgi}` && r.request().method() === 'POST');

// Opens the form, fills in the given text and select fields, sends it and
// returns the program's response once the answer has loaded.
async function submitForm(page, fields) {
  await page.goto(`${base}/Loglantern/`);
  for (const [name, value] of Object.entries(fields)) {
    const control = page.locator(`[name="${name}"]`);
    if (await control.evaluate((el) => el.tagName === 'SELECT')) await control.selectOption(value);
    else await control.fill(value);
  }
  const response = answer(page);
  await page.click('button[type="submit"]');
  await page.waitForURL(`${base}${cgi}`);  // and its load
  return response;
}

function assertSecurityHeaders(headers, what) {
  assert.match(headers['content-security-policy'] || '', /default-src 'none'/, what);
  assert.doesNotMatch(headers['content-security-policy'], /script-src[^;]*'unsafe/, what);
  assert.equal(headers['x-content-type-options'], 'nosniff', what);
  assert.equal(headers['referrer-policy'], 'no-referrer', what);
}

// Every image of the page was decoded and answers 200 as an image; returns their addresses.
async function assertImagesLoad(page, what) {
  const images = await page.evaluate(() => Array.from(document.images).map((i) => [i.currentSrc || i.src, i.complete && i.naturalWidth > 0]));
  assert.ok(images.length > 0, `${what}: has images`);
  for (const [src, decoded] of images) {
    const res = await fetch(src);
    assert.ok(decoded && res.status === 200 && /^image\//.test(res.headers.get('content-type')), `${what}: image ${src}`);
  }
  return images.map(([src]) => src);
}

// Every same-site link of an HTML text answers 200, and its #fragment exists; returns how many there are.
async function assertLinksWork(html, pageUrl) {
  const targets = new Set([...html.matchAll(/href="([^"]+)"/gi)].map((m) => new URL(m[1].replaceAll('&amp;', '&'), pageUrl))
    .filter((u) => u.origin === new URL(base).origin).map((u) => u.href));
  for (const target of targets) {
    const res = await fetch(target.replace(/#.*/, ''));
    const id = decodeURIComponent(new URL(target).hash.slice(1));
    const body = await res.text();
    assert.equal(res.status, 200, `link ${target} from ${pageUrl}`);
    if (id) assert.ok(body.includes(`id="${id}"`) || body.includes(`name="${id}"`), `anchor ${target}`);
  }
  return targets.size;
}

before(async () => {
  // An account whose log carries markup: a script, an image with a handler, and a meta refresh.
  const dir = path.join(site.LOGLANTERN_DATA_DIR, 'hostile-logs');
  fs.mkdirSync(dir, { recursive: true });
  fs.writeFileSync(path.join(dir, 'access.log'), `203.0.113.5 - - [06/Mar/2024:12:00:00 +0000] "GET /index.html HTTP/1.1" 200 1500 "http://evil.example/${HOSTILE_SCRIPT}" "Mozilla/5.0 ${HOSTILE_SCRIPT} <img src=x onerror=document.title='owned'>"\n`
    + `203.0.113.6 - - [06/Mar/2024:12:00:00 +0000] "GET /index.html HTTP/1.1" 200 1500 "http://evil.example/${HOSTILE_REFRESH}" "Mozilla/5.0"\n`);
  fs.appendFileSync(path.join(site.LOGLANTERN_CGI_DIR, 'loglantern.conf'), `user=hostile;password=*;url=${base};logs=${dir}/*.log\n`);
  browser = await chromium.launch({ executablePath: process.env.CHROMIUM, args: ['--no-sandbox', '--disable-gpu',
    '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync'] });
});
after(() => browser?.close());

test('the form labels every field and defaults to the last 30 days; sent from the keyboard, its report has every section and image',
  { timeout: 120000 }, async () => {
    const page = await browser.newPage({ viewport: { width: 1100, height: 900 } });
    const form = await page.goto(`${base}/Loglantern/`);
    assertSecurityHeaders(form.headers(), 'form');
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
    const day = async (p) => {  // noon of the first (s) or last (e) day
      const [y, m, d] = await Promise.all(['y', 'm', 'd'].map((f) => page.inputValue(`#${p}${f}`)));
      return new Date(y, m - 1, d, 12);
    };
    assert.equal(Math.round((await day('e') - await day('s')) / 86400000), 29, 'the range spans 30 days');
    assert.ok(Math.abs(Date.now() - await day('e')) < 2 * 86400000, 'the range ends today');
    await assertImagesLoad(page, 'form');
    await page.screenshot(shot('form'));

    assert.equal(await page.evaluate(() => document.activeElement.id), 'username', 'the account name has the focus');
    await page.fill('#requests_top', '1');
    await page.focus('#username');
    await page.keyboard.type('sample');
    // Tab on through the password and date fields: typing picks a month or day in a list.
    for (const [id, text] of [['password', 'sample'], ['sm', 'Mar'], ['sd', '1'], ['sy', '2024'], ['em', 'Mar'], ['ed', '31'], ['ey', '2024']]) {
      await page.keyboard.press('Tab');
      assert.equal(await page.evaluate(() => document.activeElement.id), id, `Tab reaches ${id}`);
      if (id.endsWith('y')) await page.keyboard.press('Control+A');
      await page.keyboard.type(text);
    }
    const report = answer(page);
    await page.keyboard.press('Enter');
    const response = await report;
    await page.waitForURL(`${base}${cgi}`);
    assertSecurityHeaders(response.headers(), 'report');
    assert.equal(await page.title(), 'Web Site Analysis');
    const html = await response.text();
    for (const title of SECTION_TITLES) assert.ok(html.includes(`<b>${title}</b>`), `section ${title}`);
    assert.match(html, /<b>HTTP Requests:<\/b><\/td><td width="50%">[1-9][0-9,]*<\/td>/);
    assert.match(html, /Date Range Analyzed:<\/b><\/td><td width="50%">03\/01\/2024 - 03\/31\/2024</);
    assert.match(html, /This report shows the top 1 URLs/, 'the row limit reached the program');
    const images = await assertImagesLoad(page, 'report');
    for (const name of ['ll14-reg.gif', 'red2x5.gif', 'blue2x5.gif']) assert.ok(images.some((src) => src.endsWith(`/${name}`)), name);
    await page.screenshot(shot('report'));
  });

test('a wrong password gives error 2 with its image, help link and error-log line', { timeout: 60000 }, async () => {
  const page = await browser.newPage();
  const response = await submitForm(page, { username: 'sample', password: 'not-the-password', ...MARCH });
  assertSecurityHeaders(response.headers(), 'error page');
  assert.equal(await page.title(), 'Loglantern: Error #2');
  const html = await response.text();
  assert.ok(html.includes('Invalid user account name and/or password</h2>'));
  assert.ok((await assertImagesLoad(page, 'error page')).some((src) => src.endsWith('/Loglantern/errors/2.gif')), 'its image');
  assert.ok(await assertLinksWork(html, page.url()) >= 1, 'the error page links to its help');
  await page.screenshot(shot('error'));
  const errorLog = fs.readFileSync(path.join(site.LOGLANTERN_DATA_DIR, 'errors.log'), 'utf8');
  assert.match(errorLog, /\] Unauthorized access from '.*' with username='sample'\n/);
});

test('markup from a log line is in the page, but its script does not run nor its refresh move the reader',
  { timeout: 60000 }, async () => {
    const page = await browser.newPage();
    let dialogs = 0;
    page.on('dialog', async (d) => { dialogs += 1; await d.dismiss(); });
    const response = await submitForm(page, { username: 'hostile', ...MARCH });
    const html = await response.text();
    for (const text of [HOSTILE_SCRIPT, HOSTILE_REFRESH]) assert.ok(html.includes(text), `the page holds ${text} as it stands`);
    assert.ok(await page.locator('script').count() >= 1, 'the browser parsed it as a script element');
    assert.match(response.headers()['content-security-policy'], /sandbox (?![^;]*allow-scripts)/);
    await page.waitForTimeout(1500);
    assert.equal(await page.title(), 'Web Site Analysis', 'the script did not change the title');
    assert.equal(dialogs, 0);
    assert.equal(page.url(), `${base}${cgi}`, 'the page did not follow the refresh');
    const popup = page.waitForEvent('popup');
    await page.locator(`a[href="${base}/index.html"]`).first().click();
    assert.equal((await popup).url(), `${base}/index.html`, 'a report link still opens, in a new window');
    // Without the server's headers the same page does run it: the data is a live attack.
    const bare = await browser.newPage();
    await bare.setContent(html.replace(/<meta[^>]*>/gi, ''));
    await bare.waitForFunction(() => document.title === 'owned', null, { timeout: 5000 });
  });

test('the manual, the information pages and the images are served as the program links them; the configuration is not', async () => {
  const pages = [
    ['/Loglantern/manual/', 200, ['support']],
    ['/Loglantern/manual/errors.html', 200, Array.from({ length: 11 }, (_, i) => `error${i + 1}`)],
    ['/Loglantern/manual/configuration.html', 200, ['logs', 'accounts', 'LoglanternPath']],
    ['/Loglantern/manual/form.html', 200, ['sections']],
    ['/Loglantern/manual/security.html', 200, ['operator']],
    ['/Loglantern/', 200, []],
    [`${cgi}?about`, 200, [], ['<title>About Loglantern Version 1.4.3</title>', `<a href="${cgi}?credits">`]],
    [`${cgi}?credits`, 200, [], ['<title>Loglantern: Credits</title>', `<a href="${cgi}?about">`]],
    ['/loglantern/ll14-reg.gif', 200], ['/loglantern/red2x5.gif', 200], ['/loglantern/blue2x5.gif', 200],
    ['/cgi-bin/loglantern.conf', 403], ['/cgi-bin/loglantern.conf.sample', 403]];
  for (const [url, status, ids, texts = []] of pages) {
    const res = await fetch(`${base}${url}`);
    assert.equal(res.status, status, url);
    if (!ids) {
      if (status === 200) assert.equal(res.headers.get('content-type'), 'image/gif', url);
      continue;
    }
    assertSecurityHeaders(Object.fromEntries(res.headers), url);
    const html = await res.text();
    for (const text of [...ids.map((id) => `id="${id}"`), ...texts]) assert.ok(html.includes(text), `${url} has ${text}`);
    assert.doesNotMatch(html, /<script/i, `${url} has no script`);
    await assertLinksWork(html, `${base}${url}`);
  }
});
