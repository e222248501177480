// A Hessian client calls the example service hessian-rpc in a real vsd.
// usage: node hessian_rpc.js VSD EXAMPLES
'use strict';
const assert = require('assert');
const fs = require('fs');
const http = require('http');
const os = require('os');
const path = require('path');
const readline = require('readline');
const { spawn } = require('child_process');
const hessian = require('hessian.js');

// "H 2 0", then a call with its arguments, as clients of version 2 send it.
function callBytes(method, args) {
  const parts = [method, args.length, ...args].map(value => hessian.encode(value, '2.0'));
  return Buffer.concat([Buffer.from([0x48, 2, 0, 0x43]), ...parts]);
}

function post(port, body) {
  return new Promise((resolve, reject) => {
    const request = http.request({ host: '127.0.0.1', port, path: '/hessian/catalogue', method: 'POST' },
      answer => {
        const chunks = [];
        answer.on('data', chunk => chunks.push(chunk));
        answer.on('end', () => resolve({ type: answer.headers['content-type'], bytes: Buffer.concat(chunks) }));
      });
    request.on('error', reject);
    request.end(body);
  });
}

// The kind of message ('R' or 'F') and its value.
async function call(port, method, ...args) {
  const { type, bytes } = await post(port, callBytes(method, args));
  assert.strictEqual(type, 'x-application/hessian');
  assert.strictEqual(bytes.subarray(0, 3).toString('hex'), '480200');
  return [String.fromCharCode(bytes[3]), hessian.decode(bytes.subarray(4), '2.0')];
}

async function check(port) {
  assert.deepStrictEqual(await call(port, 'price', 'A-1'), ['R', 12.5]);
  const sku = '<é & "漢">' + 'x'.repeat(3000);
  assert.deepStrictEqual(await call(port, 'stock', sku), ['R', { sku, stock: 7 }]);
  const [kind, fault] = await call(port, 'none');
  assert.strictEqual(kind, 'F');
  assert.deepStrictEqual(fault, { code: 'NoSuchMethodException', message: 'no method none' });
}

async function main() {
  const [vsd, examples] = process.argv.slice(2);
  const root = fs.mkdtempSync(path.join(os.tmpdir(), 'hessian_rpc_'));
  fs.cpSync(examples, root, { recursive: true });
  const child = spawn(vsd, ['run', '--root', root, '--listen', '127.0.0.1:0'],
    { stdio: ['ignore', 'pipe', 'inherit'],
      env: { ...process.env, VSD_SERVICE_PORTS: 'FREE' } });
  const ended = new Promise(resolve => child.on('exit', resolve));
  let failure = new Error('vsd did not get ready');
  for await (const line of readline.createInterface({ input: child.stdout })) {
    const ready = /127\.0\.0\.1:(\d+)/.exec(line);
    if (ready) {
      failure = await check(Number(ready[1])).then(() => null, error => error);
      break;
    }
  }
  child.kill('SIGTERM');
  assert.strictEqual(await ended, 0);
  fs.rmSync(root, { recursive: true });
  if (failure) throw failure;
}

main().catch(error => { console.error(error.message); process.exit(1); });
