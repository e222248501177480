// Values x versions x directions between this library and an independent implementation.
// usage: node hessian_interop.js PEER, with PEER the program of hessian_peer.cpp
'use strict';
const assert = require('assert');
const { spawn } = require('child_process');
const readline = require('readline');
const hessian = require('hessian.js');

const shared = ['shared'];
const circular = { $class: 'x.Node', $: { n: 1, next: null } };
circular.$.next = circular;

// What the peer writes, by name.
const values = {
  null: null, true: true, false: false,
  ints: [0, 1, -1, -16, -17, 47, 48, -2048, -2049, 2047, 2048, -262144, -262145, 262143, 262144,
    2147483647, -2147483648],
  longs: ['0', '-8', '-9', '15', '16', '2047', '2048', '-2049', '262143', '262144', '2147483648',
    '9007199254740993', '-9223372036854775808'].map(text => ({ $class: 'long', $: text })),
  doubles: [0.5, 1.5, -0.001, 12.25, 127.5, 3.141592653589793, 1e100, -1e-300, 32768.125],
  'whole doubles': [0, 1, -128, 127, 128, -32768, 32768].map(n => ({ $class: 'double', $: n })),
  dates: [new Date(894621091000), new Date(894621060000), new Date(0), new Date(-60000)],
  'empty string': '', 'short string': 'hello', 'markup': '<a b="c">&\'\r\n\t</a>',
  'two and three bytes': 'é漢', 'astral': 'a😀b', 'string of 31': 'x'.repeat(31),
  'string of 32': 'é'.repeat(32), 'string of 1024': 'x'.repeat(1024),
  'chunked string': '漢y😀'.repeat(20000),
  'empty binary': Buffer.alloc(0), 'binary': Buffer.from([0, 1, 255]),
  'binary of 16': Buffer.alloc(16, 7), 'chunked binary': Buffer.alloc(100000, 'ab\0c'),
  'empty list': [], 'list': [1, 'a', null, true, 1.5], 'long list': Array.from({ length: 300 }, (_, i) => i),
  'nested lists': [1, [2, [3, []]]],
  'typed list': { $class: '[int', $: [0, 1, 2] },
  'type used again': [{ $class: '[int', $: [1] }, { $class: '[int', $: [2] }, { $class: '[long', $: [] }],
  'empty map': {}, 'map': { a: 1, b: 'x', c: [1] }, 'map with numbers': new Map([[1, 'a'], [2, 'b']]),
  'typed map': { $class: 'java.util.TreeMap', $: { a: 1 } },
  'object': { $class: 'x.Car', $: { color: 'red', doors: 5, next: null } },
  'objects of a class': [1, 2, 3].map(n => ({ $class: 'x.A', $: { v: n } })),
  'many classes': Array.from({ length: 20 }, (_, i) => ({ $class: 'x.C' + i, $: { v: i } })),
  'object in object': { $class: 'x.A', $: { v: { $class: 'x.B', $: { w: [1, 2] } } } },
  'same list twice': [shared, shared], 'object in itself': circular,
};

// What we write, as documents; the type and length forms are those that we write ourselves.
const documents = {
  '2.0': [
    '<null></null>', '<boolean>1</boolean>', '<int>-2049</int>', '<long>4294967296</long>',
    '<double>12.250000</double>', '<double>3.1415926535897931</double>', '<string>h&#38;m 😀</string>',
    '<base64>AQID</base64>', '<date ms="894621091000">1998-05-08 09:51:31.000</date>',
    '<fixed_untyped_list><compact_fixed_untyped_list_length>2</compact_fixed_untyped_list_length><int>1</int><string>a</string></fixed_untyped_list>',
    '<fixed_typed_list><Type>[string</Type><compact_fixed_typed_list_length>1</compact_fixed_typed_list_length><string>a</string></fixed_typed_list>',
    '<typed_map><string>a</string><int>1</int></typed_map>',
    '<obj_defn><obj_defn_type>x.N</obj_defn_type><string>d</string><string>n</string></obj_defn><obj_instance><obj_ref>0</obj_ref><int>1</int><ref>0</ref></obj_instance>',
  ],
  '1.0': [
    '<null></null>', '<int>-2049</int>', '<long>2147483648</long>', '<double>12.250000</double>',
    '<string>é漢</string>', '<base64>AQID</base64>', '<date ms="1000">1970-01-01 00:00:01.000</date>',
    '<list><length>2</length><int>1</int><string>a</string></list>',
    '<list><type>[int</type><length>1</length><int>7</int></list>',
    '<typed_map><type>x.Car</type><string>color</string><string>red</string></typed_map>',
    '<typed_map><type>x.N</type><string>n</string><ref>0</ref></typed_map>',
  ],
};

// Bare version-1 values are bare in version 2 only where the codes agree: they travel in a reply.
const wrap = (version, hex) => version === '1.0' ? '720100' + hex + '7a' : hex;
const unwrap = (version, hex) => version === '1.0' ? hex.slice(6, -2) : hex;
const wrapDocument = (version, body) => '<hessian>' +
  (version === '1.0' ? `<reply_1.0><ver>1.0</ver>${body}</reply_1.0>` : body) + '</hessian>';

function startPeer(path) {
  const child = spawn(path, { stdio: ['pipe', 'pipe', 'inherit'], env: { ...process.env, TZ: 'UTC' } });
  const answers = readline.createInterface({ input: child.stdout })[Symbol.asyncIterator]();
  return {
    ask: async line => { child.stdin.write(line + '\n'); return (await answers.next()).value; },
    stop: () => child.stdin.end(),
  };
}

const decodeTyped = (hex, version) => hessian.decode(Buffer.from(hex, 'hex'), version, true);

async function main() {
  const peer = startPeer(process.argv[2]);
  let done = 0;
  for (const version of ['1.0', '2.0']) {
    for (const [name, value] of Object.entries(values)) {
      const written = hessian.encode(value, version).toString('hex');
      const back = unwrap(version, await peer.ask('recode 2 ' + wrap(version, written)));
      assert.deepStrictEqual(decodeTyped(back, version), decodeTyped(written, version),
        `${name}, version ${version}, there and back`);
      ++done;
    }
    for (const body of documents[version]) {
      const document = wrapDocument(version, body);
      const written = unwrap(version, await peer.ask('encode 2 ' + document));
      const rewritten = hessian.encode(decodeTyped(written, version), version).toString('hex');
      assert.strictEqual(await peer.ask('decode 2 ' + wrap(version, rewritten)), document);
      ++done;
    }
  }
  peer.stop();
  console.log(`${done} values and documents agree`);
}

main().catch(error => { console.error(error.message); process.exit(1); });
