// How the browser is started that draws the diagrams and tests the site:
// Debian's, without a window, and without network requests of its own.
export const launchOptions = {
  executablePath: '/usr/bin/chromium',
  args: [
    '--no-sandbox', '--disable-gpu', '--no-first-run',
    '--disable-background-networking', '--disable-component-update',
    '--disable-sync',
  ],
};
