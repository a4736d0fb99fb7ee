// Whether a page can be used by everyone, as far as a program can tell.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { createRequire } from 'node:module';

let source = null;

/// Fails with the findings of axe on the page as it is now, those of serious and critical impact by WCAG 2 levels A and
/// AA. `context`, if any, limits them to a part of the page (a selector); `schemes` are the colour schemes to look at. In
/// Chromium only: the driver of Firefox sets no colour scheme.
export async function assertAccessible(page, { context = undefined, schemes = ['light', 'dark'] } = {}) {
  source ??= await readFile(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
  // Evaluated, since the page's policy keeps foreign scripts out.
  if (!(await page.evaluate(() => Boolean(globalThis.axe)))) await page.evaluate(source);
  const findings = [];
  for (const colorScheme of schemes) {
    await page.emulateMedia({ colorScheme });
    assert.ok(await page.evaluate((scheme) => matchMedia(`(prefers-color-scheme: ${scheme})`).matches, colorScheme), colorScheme);
    // Colours that still change would be judged half-way.
    await page.evaluate(() => Promise.all(document.getAnimations()
      .filter((each) => each.effect.getTiming().iterations !== Infinity).map((each) => each.finished.catch(() => {}))));
    const violations = await page.evaluate(async (context) => {
      const { violations } = await axe.run(context ?? document, {
        runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa'],
        resultTypes: ['violations'],
      });
      return violations.map(({ id, impact, nodes }) => ({ id, impact, nodes: nodes.slice(0, 5)
        .map(({ target, failureSummary }) => `${target}: ${failureSummary.split('\n').slice(1).join(';')}`) }));
    }, context);
    const grave = violations.filter(({ impact }) => impact === 'serious' || impact === 'critical');
    findings.push(...grave.map((each) => ({ colorScheme, ...each })));
  }
  await page.emulateMedia({ colorScheme: null });
  assert.deepEqual(findings, []);
}
