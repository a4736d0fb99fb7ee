// A reporter for node's test runner: the cases as JUnit, one line each (scripts/lib/count-results reads it).
const escape = (text) =>
  String(text ?? '').replace(/[\u0000-\u0008\u000b\u000c\u000e-\u001f]/g, '?').replace(/&/g, '&amp;')
    .replace(/</g, '&lt;').replace(/>/g, '&gt;').replace(/"/g, '&quot;');

export default async function* junit(events) {
  yield '<?xml version="1.0" encoding="utf-8"?>\n<testsuite>\n';
  for await (const { type, data } of events) {
    if (type !== 'test:pass' && type !== 'test:fail') continue;
    if (data.details?.type === 'suite' || data.skip === 'test name does not match pattern') continue;
    // The runner reports a file as a case of its own when it starts one process per file.
    if (data.nesting === 0 && data.name.endsWith('.mjs') && type === 'test:pass') continue;
    const open = `<testcase name="${escape(data.name)}" time="${(data.details?.duration_ms ?? 0) / 1000}"`;
    if (type === 'test:fail') {
      const error = data.details?.error;
      yield `${open}><failure message="${escape(error?.cause?.message ?? error?.message)}"/></testcase>\n`;
    } else if (data.skip !== undefined) {
      yield `${open}><skipped message="${escape(data.skip)}"/></testcase>\n`;
    } else {
      yield `${open}/>\n`;
    }
  }
  yield '</testsuite>\n';
}
