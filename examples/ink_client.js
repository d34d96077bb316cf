#!/usr/bin/env node
// A client of the ink service in the standard library alone.
//   ink_client.js listen APPLICATION-ID [COUNT]   take packages, keep copies here, confirm them
//   ink_client.js import FILE...                  give ink files to the service
'use strict';
const fs = require('fs');
const net = require('net');
const path = require('path');

class Service {
  constructor(onNotification) {
    const root = (process.env.QUILLPOST_ROOT || '').replace(/\/+$/, '');
    const endpoint = `${root}/var/tmp/com.talvo.quillpost.sock.${process.getuid()}`;
    // Anybody may put a socket into /var/tmp: say nothing before it is clear whose it is. The
    // language has no way to ask a socket for its peer, so this looks at the file.
    const file = fs.lstatSync(endpoint);
    if (!file.isSocket() || file.uid !== process.geteuid())
      throw new Error(`another user's file is at ${endpoint}`);
    this.socket = net.connect(endpoint);
    this.onNotification = onNotification;
    this.waiting = new Map();  // id of a request -> what to do with its reply
    this.lastId = 0;
    let input = '';
    this.socket.setEncoding('utf8');  // a character may arrive in two pieces
    this.socket.on('data', (text) => {
      const lines = (input + text).split('\n');
      input = lines.pop();
      lines.forEach((line) => this.take(JSON.parse(line)));
    });
    this.socket.on('error', (error) => { console.error(error.message); process.exit(3); });
    this.socket.on('end', () => { console.error('the service ended the connection'); process.exit(1); });
  }

  take(message) {
    if (message.method) return this.onNotification(message.params);
    const { resolve, reject } = this.waiting.get(message.id) || {};
    this.waiting.delete(message.id);
    if (message.error) (reject || console.error)(new Error(message.error.message));
    else if (resolve) resolve(message.result);
  }

  request(method, params) {
    const id = ++this.lastId;
    this.socket.write(JSON.stringify({ jsonrpc: '2.0', id, method, params }) + '\n');
    return new Promise((resolve, reject) => this.waiting.set(id, { resolve, reject }));
  }
}

async function listen(application, count) {
  const service = new Service(async ({ InkPackagePath, InkPackagePen, InkPackagePages }) => {
    if (count === 0) return;
    const last = --count === 0;
    const name = path.basename(InkPackagePath);
    fs.copyFileSync(InkPackagePath, name);  // the confirmation makes the file vanish
    console.log(`pen ${InkPackagePen}, pages ${InkPackagePages.join(' ')}: ${name}`);
    await service.request('ConfirmInkPackageDelivery', { InkPackagePen, InkPackageDelivered: true });
    if (!last) return;
    // Who leaves before the file has gone gets the package again.
    while (fs.existsSync(InkPackagePath)) await new Promise((done) => setTimeout(done, 10));
    await service.request('DisableNotifications', { ApplicationID: application });
    process.exit(0);
  });
  const { status } = await service.request('EnableNotifications', { ApplicationID: application });
  if (status !== 'Success') throw new Error(`${application}: ${status}`);
}

async function importFiles(files) {
  const service = new Service(() => {});
  const replies = await Promise.all(files.map((file) =>
    service.request('ImportSTF2File', { InkPackagePath: path.resolve(file) })));
  replies.forEach(({ status }, i) => console.log(`${status} ${files[i]}`));
  process.exit(replies.every(({ status }) => status === 'Success') ? 0 : 1);
}

const [, , command, first, ...rest] = process.argv;
const work = command === 'listen' && first ? listen(first, rest[0] ? Number(rest[0]) : -1)
  : command === 'import' && first ? importFiles([first, ...rest])
  : Promise.reject(new Error('usage: ink_client.js listen APPLICATION-ID [COUNT] | import FILE...'));
work.catch((error) => { console.error(error.message); process.exit(1); });
