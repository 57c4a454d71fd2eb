// The override service with policy files of its own, for pages that a browser looks at.
import {spawn} from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

export const ASK = 'webcontentfilter.override.local';
// Who asks: whoever runs this, because the service reads it from the connection.
export const user = os.userInfo().username;

export const policyFile = (root) => path.join(root, 'Library/Managed Preferences', user,
                                              'com.vendrel.hearthguard.contentfilter.plist');

// Restricted by the content filter, nothing opened yet.
export function writePolicy(root, language) {
  const plist = (body) => `<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>${body}</dict></plist>`;
  fs.mkdirSync(path.dirname(policyFile(root)), {recursive: true});
  fs.writeFileSync(path.join(path.dirname(policyFile(root)), 'com.vendrel.preferences.plist'),
                   plist(`<key>VendrelLanguages</key><array><string>${language}</string></array>`));
  fs.writeFileSync(policyFile(root), plist('<key>restrictWeb</key><true/><key>useContentFilter</key><true/>'));
}

// The service at a free port, where "mother" is the approver and "secret" her password; PAM itself is tested with the service.
export async function startOverride(service, root) {
  const authenticator = path.join(root, 'authenticator');
  fs.writeFileSync(authenticator, "#!/bin/sh\n[ \"$(tr '\\0' '\\n')\" = \"$(printf 'mother\\nsecret')\" ]\n", {mode: 0o755});
  const daemon = spawn(service, ['--port', '0', '--root', root, '--state-directory', root, '--authenticator', authenticator],
                       {stdio: ['ignore', 'inherit', 'pipe']});
  let said = '';
  const port = await new Promise((resolve, reject) => {
    daemon.stderr.on('data', (data) => {
      said += data;
      const found = /listening at port (\d+)/.exec(said);
      if (found) resolve(found[1]);
    });
    daemon.on('exit', () => reject(new Error(`the service ended: ${said}`)));
  });
  return {daemon, origin: `http://127.0.0.1:${port}`};
}
