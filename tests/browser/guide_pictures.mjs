// guide_pictures.mjs DIRECTORY WRITER SERVICE: takes the two pictures of the guides anew, of one and the same page.
//
// docs/images/block-page-english.png and override-english.png: ann meets a block page at http://videos.example/ and asks for it.
// The service tells who asks by the owner of the connection, so this runs itself again where its account is called ann: in a user
// and mount namespace with an account file of its own. Nothing outside of docs/images changes.
import {execFileSync} from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import {fileURLToPath} from 'node:url';

import {LoopbackServer, makePages, startBrowser} from './harness.mjs';
import {ASK, startOverride, user, writePolicy} from './override_harness.mjs';

const images = path.join(path.dirname(fileURLToPath(import.meta.url)), '../../docs/images');
const root = fs.mkdtempSync(path.join(os.tmpdir(), 'pictures.'));

function runAsAnn() {
  const accounts = path.join(root, 'passwd');
  fs.writeFileSync(accounts, 'ann:x:0:0::/nonexistent:/bin/sh\n', {mode: 0o644});
  execFileSync('unshare', ['--map-root-user', '--mount', 'sh', '-c', 'mount --bind "$1" /etc/passwd && shift && exec "$@"', 'sh',
                           accounts, process.execPath, ...process.argv.slice(1)], {stdio: 'inherit'});
}

async function takePictures() {
  writePolicy(root, 'en');
  const {daemon, origin} = await startOverride(path.resolve(process.argv[4]), root);
  const server = await new LoopbackServer().start();
  const browser = await startBrowser();
  try {
    server.form = `${origin}/${ASK}`;
    const made = makePages(server, 'guide', {url: 'http://videos.example/', title: 'Videos', sites: []});
    const page = await browser.newPage({viewport: {width: 760, height: 640}});
    await page.goto(made.find(({language, template}) => language === 'English' && template === 'blockpage').url);
    await page.screenshot({path: path.join(images, 'block-page-english.png'), fullPage: true});
    await page.getByRole('button', {name: 'Ask for this page'}).click();
    await page.waitForURL(`${origin}/**`);
    await page.screenshot({path: path.join(images, 'override-english.png'), fullPage: true});
  } finally {
    await browser.close();
    server.stop();
    daemon.kill();
  }
}

try {
  await (user === 'ann' ? takePictures() : runAsAnn());
} finally {
  fs.rmSync(root, {recursive: true, force: true});
}
