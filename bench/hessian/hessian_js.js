// What hessian.js does with the messages that hessian_bench wrote: MB/s of the message.
// usage: node hessian_js.js FOLDER
'use strict';
const fs = require('fs');
const path = require('path');
const hessian = require('hessian.js');

// Bytes in front of the values: "H 2 0", 'R' or 'C', and a call's method and argument count.
function readValues(message, large) {
  const decoder = new hessian.DecoderV2(message.subarray(4));
  if (large) return [decoder.read(true)];
  const values = [decoder.read()];
  for (let left = decoder.read(); left > 0; --left) values.push(decoder.read());
  return values;
}

function writeValues(values) {
  const encoder = new hessian.EncoderV2();
  for (const value of values) encoder.write(value);
  return encoder.get();
}

// Seconds of processor time, which is what hessian_bench counts too: others may use the machine.
function processorTime() {
  const {user, system} = process.cpuUsage();
  return (user + system) / 1e6;
}

// Medians of rounds of at least a fifth of a second; the clock is read every `batch` runs.
function rate(name, size, batch, action) {
  const rates = [];
  for (let round = 0; round < 5; ++round) {
    const start = processorTime();
    let runs = 0;
    let spent = 0;
    do {
      for (let i = 0; i < batch; ++i) action();
      runs += batch;
      spent = processorTime() - start;
    } while (spent < 0.2);
    rates.push(runs * size / spent / 1e6);
  }
  console.log(`hessian.js ${name}: ${rates.sort((a, b) => a - b)[2].toFixed(1)} MB/s`);
}

for (const size of ['small', 'large']) {
  const message = fs.readFileSync(path.join(process.argv[2], size));
  const values = readValues(message, size === 'large');
  const batch = size === 'large' ? 1 : 1000;
  rate(`decode ${size}`, message.length, batch, () => readValues(message, size === 'large'));
  rate(`encode ${size}`, message.length, batch, () => writeValues(values));
}
