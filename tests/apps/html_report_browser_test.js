// The HTML report opened in headless Chromium, as a reader would open it: no console error, one
// table row per match, a 3D view that shows the molecules, and the same file from `search
// --report` as from `report` of the saved JSON Lines.
//   node html_report_browser_test.js PROGRAM DATA_DIR [SCREENSHOT_DIR]
//   node html_report_browser_test.js --time REPORT.html   (how long it takes to open: under 3 s)
// Exits 77 (CTest: not run) with one line saying why where the collections are absent, or where
// Chromium or its driver is missing, except under CI, where both are installed and their absence
// is a failure.
'use strict';
const {execFileSync} = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');

const timing = process.argv[2] === '--time';
if (!timing && !fs.existsSync(path.join(process.argv[3] || '', 'curated'))) {
  console.log(`skipped: the real-structure collections are not at ${process.argv[3]}`);
  process.exit(77);
}
function skip(why) {
  console.log((process.env.CI ? 'FAILED: ' : 'skipped: ') + why + ' (scripts/setup.sh installs it)');
  process.exit(process.env.CI ? 1 : 77);
}
const browserPath = (process.env.PATH || '').split(':').map(d => path.join(d, 'chromium'))
                        .find(p => fs.existsSync(p));
if (!browserPath) skip('chromium is not installed');
let chromium;
try {
  ({chromium} = require(path.join(__dirname, '../../web/node_modules/playwright-core')));
} catch (e) {
  skip('playwright-core is not installed');
}

// Opens a report; returns how long until its first match was drawn, the console errors, the
// table's rows and the spread of the 3D view's pixel values (0 for a blank view).
async function open(browser, file, screenshot) {
  const page = await browser.newPage({viewport: {width: 1200, height: 640}});
  const errors = [];
  page.on('console', m => m.type() === 'error' && errors.push(m.text()));
  page.on('pageerror', e => errors.push(e.message));
  const start = Date.now();
  await page.goto('file://' + path.resolve(file));
  await page.waitForSelector('body[data-ready]', {timeout: 20000});
  const ms = Date.now() - start;
  const rows = await page.locator('#hits tbody tr').count();
  const view = page.locator('#viewer');
  const variance = await view.count() && await page.evaluate(async data => {
    const img = new Image();
    img.src = 'data:image/png;base64,' + data;
    await img.decode();
    const ctx = Object.assign(document.createElement('canvas'), {width: img.width, height: img.height})
                    .getContext('2d');
    ctx.drawImage(img, 0, 0);
    const px = ctx.getImageData(0, 0, img.width, img.height).data;
    let sum = 0, sum2 = 0;
    for (let i = 0; i < px.length; i += 4) {
      const v = (px[i] + px[i + 1] + px[i + 2]) / 3;
      sum += v;
      sum2 += v * v;
    }
    const n = px.length / 4;
    return sum2 / n - (sum / n) ** 2;
  }, (await view.screenshot()).toString('base64'));
  if (screenshot) await page.screenshot({path: screenshot});
  await page.close();
  return {ms, errors, rows, variance};
}

(async () => {
  const browser = await chromium.launch({
    executablePath: browserPath,
    args: ['--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking',
           '--disable-component-update', '--disable-sync', '--enable-unsafe-swiftshader']});
  let failures = 0;
  let noViewer = false;
  const check = (ok, what) => ok || (console.log('FAILED: ' + what), ++failures);
  try {
    if (timing) {
      const r = await open(browser, process.argv[3]);
      const mb = fs.statSync(process.argv[3]).size / 1e6;
      console.log(`${process.argv[3]}: ${mb.toFixed(1)} MB, ${r.rows} rows, opened and drawn in ` +
                  `${r.ms} ms, ${r.errors.length} console errors`);
      check(r.errors.length === 0, r.errors.join('; '));
      check(r.ms < 3000, 'it took more than 3 s to open');
    } else {
      const [program, data, shots] = process.argv.slice(2);
      const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'xtalmotif-report-'));
      for (const [name, motif, file] of [
               ['acid-dimer', 'carboxylic acid dimer', 'curated/acid__2300214-r274507.cif'],
               ['water-ring', 'water ring of six', 'curated/hydrate__4504659.cif']]) {
        const base = path.join(dir, name);
        // Run from the data folder, so that the report names the file as the collection does.
        execFileSync(path.resolve(program), ['search', motif, file, '-q', '--json',
                                             base + '.jsonl', '--report', base + '.html'],
                     {cwd: data});
        execFileSync(program, ['report', base + '.jsonl', '-o', base + '-saved.html']);
        check(fs.readFileSync(base + '.html').equals(fs.readFileSync(base + '-saved.html')),
              name + ': search --report and report wrote different files');
        const matches = fs.readFileSync(base + '.jsonl', 'utf8').split('\n')
                            .filter(l => l.includes('"record":"match"')).length;
        noViewer = !fs.readFileSync(base + '.html', 'utf8').includes('<div id="viewer">');
        if (noViewer) break;
        const r = await open(browser, base + '.html', shots && path.join(shots, name + '.png'));
        check(r.errors.length === 0, name + ': console errors: ' + r.errors.join('; '));
        check(matches > 0 && r.rows === matches, `${name}: ${r.rows} rows for ${matches} matches`);
        console.log(`${name}: ${r.rows} rows, drawn in ${r.ms} ms, ` +
                    `pixel variance ${Math.round(r.variance)}`);
        // A blank view has no spread at all; molecules on its white give hundreds.
        check(r.variance > 100, `${name}: the 3D view looks blank (pixel variance ${r.variance})`);
      }
      fs.rmSync(dir, {recursive: true});
    }
  } finally {
    await browser.close();
  }
  if (noViewer) skip('the 3D viewer (3Dmol.js) was not built into xtalmotif');
  process.exit(failures === 0 ? 0 : 1);
})().catch(e => {
  console.log('FAILED: ' + e.message);
  process.exit(1);
});
