// Processor time and memory of a program with all its children.
import { readFile, readdir } from 'node:fs/promises';

/// The ids of a process and of all its descendants.
export async function family(pid) {
  const threads = await readdir(`/proc/${pid}/task`);
  const children = await Promise.all(threads.map((thread) => readFile(`/proc/${pid}/task/${thread}/children`, 'utf8').catch(() => '')));
  const ids = children.join(' ').split(/\s+/).filter(Boolean).map(Number);
  return [pid, ...(await Promise.all(ids.map((id) => family(id).catch(() => [])))).flat()];
}

/// Seconds of processor time that processes have used so far, to 10 ms.
export async function cpuSeconds(pids) {
  const each = await Promise.all(pids.map(async (pid) => {
    const stat = await readFile(`/proc/${pid}/stat`, 'utf8').catch(() => null);
    if (!stat) return 0;
    const fields = stat.slice(stat.lastIndexOf(')') + 2).split(' ');
    return (Number(fields[11]) + Number(fields[12])) / 100;
  }));
  return each.reduce((sum, seconds) => sum + seconds, 0);
}

/// The same to a nanosecond, without the threads that have ended: for little work.
export async function exactCpuSeconds(pids) {
  let sum = 0;
  for (const pid of pids) {
    for (const thread of await readdir(`/proc/${pid}/task`).catch(() => [])) {
      const text = await readFile(`/proc/${pid}/task/${thread}/schedstat`, 'utf8').catch(() => '0');
      sum += Number(text.split(' ')[0]) / 1e9;
    }
  }
  return sum;
}

/// Measures from now on; call the result for the share of one core in percent since then. `exact`: as above.
export async function cpuMeter(pids, { exact = false } = {}) {
  const used = exact ? exactCpuSeconds : cpuSeconds;
  const [start, before] = [performance.now(), await used(pids)];
  return async () => (((await used(pids)) - before) / (performance.now() - start)) * 100000;
}

/// Resident and proportional memory of processes in MiB. The proportional one divides pages among all that share them.
export async function memory(pids) {
  const sum = { rss: 0, pss: 0 };
  for (const pid of pids) {
    const text = await readFile(`/proc/${pid}/smaps_rollup`, 'utf8').catch(() => '');
    for (const key of ['Rss', 'Pss']) sum[key.toLowerCase()] += Number(text.match(new RegExp(`^${key}:\\s+(\\d+)`, 'm'))?.[1] ?? 0) / 1024;
  }
  return sum;
}
