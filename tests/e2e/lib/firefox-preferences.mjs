// Settings of Firefox for tests, beside those that its driver makes.
const nowhere = 'data:,';

export const firefoxPreferences = {
  // A page reads the clipboard at once: the button "Paste", which a user presses for a text of another program, is out
  // of reach of the driver.
  'dom.events.testing.asyncClipboard': true,
  // Nothing is looked up, fetched or reported.
  'app.update.auto': false,
  'app.normandy.enabled': false,
  'app.shield.optoutstudies.enabled': false,
  'browser.contentblocking.database.enabled': false,
  'browser.discovery.enabled': false,
  'browser.ml.enable': false,
  'browser.newtabpage.activity-stream.asrouter.providers.cfr': '',
  'browser.region.network.url': '',
  'browser.region.update.enabled': false,
  'browser.safebrowsing.downloads.remote.enabled': false,
  'browser.safebrowsing.provider.google.updateURL': '',
  'browser.safebrowsing.provider.google4.updateURL': '',
  'browser.safebrowsing.provider.google5.updateURL': '',
  'browser.safebrowsing.provider.mozilla.updateURL': '',
  'browser.search.geoip.url': '',
  'browser.topsites.contile.enabled': false,
  'datareporting.usage.uploadEnabled': false,
  'dom.push.connection.enabled': false,
  'extensions.blocklist.enabled': false,
  'extensions.systemAddon.update.enabled': false,
  'media.gmp-provider.enabled': false,
  'messaging-system.rsexperimentloader.enabled': false,
  'network.captive-portal-service.enabled': false,
  'network.dns.disablePrefetch': true,
  'network.prefetch-next': false,
  'network.trr.mode': 5,
  'security.remote_settings.crlite_filters.enabled': false,
  'security.remote_settings.intermediates.enabled': false,
  'services.settings.server': `${nowhere}#remote-settings-dummy/v1`,
  'toolkit.telemetry.enabled': false,
  'toolkit.telemetry.server': nowhere,
  'toolkit.telemetry.unified': false,
};
