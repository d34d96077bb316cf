#!/usr/bin/env node
// A client of the ink service in the standard library alone.
//   ink_client.js listen APPLICATION-ID [COUNT]   take packages, keep copies here, confirm them
//   ink_client.js import FILE...                  give ink files to the service
// Listening goes on with the next service when one ends.
'use strict';
const fs = require('fs');
const net = require('net');
const path = require('path');

const sleep = (ms) => new Promise((done) => setTimeout(done, ms));

class Service {
  constructor(onNotification) {
    const root = (process.env.QUILLPOST_ROOT || '').replace(/\/+$/, '');
    const endpoint = `${root}/var/tmp/com.talvo.quillpost.sock.${process.getuid()}`;
    // Anybody may put a socket into /var/tmp: say nothing before it is clear whose it is. The
    // language has no way to ask a socket for its peer, so this looks at the file.
    const file = fs.lstatSync(endpoint, { throwIfNoEntry: false });
    if (!file) throw new Error(`no service at ${endpoint}`);
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
    let reason = new Error('the service ended the connection');
    this.socket.on('error', (error) => { reason = error; });
    this.connected = new Promise((resolve, reject) => {
      this.socket.on('connect', resolve);
      this.socket.on('error', reject);
    });
    this.connected.catch(() => {});  // who waits for it is told all the same
    this.ended = new Promise((resolve) => this.socket.on('close', () => {
      this.waiting.forEach(({ reject }) => reject(reason));
      resolve(reason);
    }));
  }

  take(message) {
    if (message.method) return this.onNotification(message.params);
    const { resolve, reject } = this.waiting.get(message.id) || {};
    this.waiting.delete(message.id);
    if (message.error) (reject || console.error)(new Error(message.error.message));
    else if (resolve) resolve(message.result);
  }

  // The status and the result of the service's reply.
  request(method, params) {
    const id = ++this.lastId;
    this.socket.write(JSON.stringify({ jsonrpc: '2.0', id, method, params }) + '\n');
    return new Promise((resolve, reject) => this.waiting.set(id, { resolve, reject }));
  }
}

function keepCopy({ InkPackagePath, InkPackagePen, InkPackagePages }) {
  const stem = [InkPackagePen, ...InkPackagePages].join('_');
  let name = `${stem}.stf2`;
  for (let number = 1; fs.existsSync(name); ++number) name = `${stem}-${number}.stf2`;
  fs.copyFileSync(InkPackagePath, name);  // the confirmation makes the file vanish
  console.log(`pen ${InkPackagePen}, pages ${InkPackagePages.join(' ')}: ${name}`);
}

async function listen(application, count) {
  let isOver = false;
  let isFirst = true;
  for (let pause = 100; !isOver; pause = Math.min(2 * pause, 5000)) {
    try {
      const service = new Service(async (ink) => {
        if (count === 0) return;
        const isLast = --count === 0;
        try {
          keepCopy(ink);
          const { InkPackagePath, InkPackagePen } = ink;
          await service.request('ConfirmInkPackageDelivery', { InkPackagePen, InkPackageDelivered: true });
          if (!isLast) return;
          // Who leaves before the file has gone gets the package again.
          while (fs.existsSync(InkPackagePath)) await sleep(10);
          isOver = true;
          service.socket.end();
        } catch (error) {
          ++count;  // it went with its service, and comes again
        }
      });
      await service.connected;
      isFirst = false;
      const { status } = await service.request('EnableNotifications', { ApplicationID: application });
      if (status !== 'Success') { console.error(`${application}: ${status}`); process.exit(1); }
      pause = 100;
      const reason = await service.ended;
      if (!isOver) throw reason;
    } catch (error) {
      if (isFirst) throw error;  // the first service must be there
      console.error(`${error.message}; trying again`);
      await sleep(pause);
    }
  }
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
work.catch((error) => { console.error(`ink_client.js: ${error.message}`); process.exit(1); });
