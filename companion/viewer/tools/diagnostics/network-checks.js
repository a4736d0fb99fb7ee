// What can be wrong with the host's network; see checks.js.

import { finding } from './finding.js';
import { flagOf, listOf, numberOf, portalOf, proxyText, sectionOf, textOf } from './values.js';

const WEAK_SIGNAL_DBM = -70;
const SLOW_GATEWAY_MS = 100;
const SLOW_INTERNET_MS = 250;

export function internet(report) {
  const ping = sectionOf(report, 'ping');
  const portal = portalOf(report);
  const answers = flagOf(ping.internet_ok);
  if (portal === 'captive') {
    return [
      finding(
        'internet',
        'bad',
        'A login page stands between the host and the internet.',
        'Open a browser on the host and log in to its network.',
      ),
    ];
  }
  if (answers === false && portal !== 'open') {
    return [
      finding(
        'internet',
        'bad',
        'The internet does not answer.',
        'Check the cable or the wireless network, and the router.',
      ),
    ];
  }
  if (answers === null && portal !== 'open') return null;
  const ms = answers ? numberOf(ping.internet_ms) : null;
  return ms !== null && ms >= SLOW_INTERNET_MS
    ? [finding('internet-slow', 'warning', `The internet answers slowly: after ${Math.round(ms)} ms.`)]
    : [];
}

export function network(report) {
  const section = sectionOf(report, 'network');
  const ping = sectionOf(report, 'ping');
  const reached = flagOf(ping.internet_ok) || portalOf(report) === 'open';
  const result = [];
  if (textOf(section.gateway) === null && !reached) {
    result.push(finding('gateway', 'warning', 'The host knows no gateway: it reaches nothing beyond its own network.'));
  }
  const targets = [
    ['gateway', 'The gateway'],
    ['dns', 'The name server'],
  ];
  for (const [key, name] of targets) {
    if (flagOf(ping[`${key}_ok`]) === false) {
      // Some never answer a ping.
      result.push(finding(`${key}-silent`, reached ? 'note' : 'warning', `${name} does not answer a ping.`));
    }
  }
  const ms = flagOf(ping.gateway_ok) ? numberOf(ping.gateway_ms) : null;
  if (ms !== null && ms >= SLOW_GATEWAY_MS) {
    result.push(
      finding(
        'gateway-slow',
        'warning',
        `The gateway answers slowly: after ${Math.round(ms)} ms.`,
        'Check the wireless network or the cable.',
      ),
    );
  }
  const vpn = listOf(section.vpn, textOf) ?? [];
  if (vpn.length > 0) result.push(finding('vpn', 'note', `A VPN is active: ${vpn.join(', ')}.`));
  if (flagOf(sectionOf(section, 'proxy').enabled)) {
    const hosts = proxyText(section.proxy.summary);
    result.push(finding('proxy', 'note', `A proxy is set${hosts === null ? '' : `: ${hosts}`}.`));
  }
  const known = Object.keys(section).length > 0 || Object.keys(ping).length > 0;
  return known ? result : null;
}

export function wireless(report) {
  const dbm = numberOf(sectionOf(report, 'network').rssi, -200, 0);
  if (dbm === null) return null;
  return dbm < WEAK_SIGNAL_DBM
    ? [
        finding(
          'wireless',
          'warning',
          `The wireless signal is weak: ${dbm} dBm.`,
          'Move closer to the access point, or use a cable.',
        ),
      ]
    : [];
}
