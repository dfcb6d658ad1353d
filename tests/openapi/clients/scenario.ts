// What a client generated from docs/openapi.yaml must achieve with the real service: a conversion,
// two failures, a cancellation, a rejection by a proxy. Each generator's client is adapted to the
// interface below, without casting a response's type.

import assert from 'node:assert/strict';
import { randomUUID } from 'node:crypto';
import { readFile } from 'node:fs/promises';
import { createServer, request } from 'node:http';
import type { AddressInfo } from 'node:net';

export interface Conversion {
  fileName: string;
  reqestID: string;
  configuration: string;
  cancelID: string;
}

/** One response: its status, and the body of a 200. */
export interface Answer<T> {
  status: number;
  value: T | undefined;
}

export interface Vond {
  upload(name: string, picture: Blob): Promise<Answer<string>>;
  convert(conversion: Conversion): Promise<Answer<string>>;
  progress(requestId: string): Promise<Answer<string>>;
  cancel(cancelId: string): Promise<Answer<string>>;
  result(name: string): Promise<Answer<Blob>>;
  /** An option with a file, one with a text. */
  convertInside(name: string, imgData: string, profile: string): Promise<Answer<string>>;
  run(argument: string): Promise<Answer<{ stdOut?: string }>>;
}

/** A client for this address, with NAME:PASSWORD where a proxy asks for it. */
export type Connect = (address: string, user?: string) => Vond;

function good<T>(answer: Answer<T>): T {
  assert.equal(answer.status, 200);
  assert.notEqual(answer.value, undefined);
  return answer.value as T;
}

const conversionOf = (fileName: string, configuration: string, id: string): Conversion => ({
  fileName,
  configuration,
  reqestID: id,
  cancelID: id,
});

async function convertsAPicture(vond: Vond, picture: Blob): Promise<void> {
  const name = `${randomUUID()}.jpg`;
  assert.equal(good(await vond.upload(name, picture)), '{"ok": true}');
  assert.ok(
    Buffer.from(await good(await vond.result(name)).arrayBuffer()).equals(
      Buffer.from(await picture.arrayBuffer()),
    ),
    'the picture arrives as it was',
  );
  const answer = good(await vond.convert(conversionOf(name, 'PressCMYK', randomUUID())));
  assert.equal(answer, name.replace('.jpg', '_PressCMYK.jpg'));
  const result = good(await vond.result(answer));
  assert.equal(result.type, 'image/jpeg');
  assert.ok(result.size > 10000);
}

async function hearsWhyAConversionFailed(vond: Vond, picture: Blob): Promise<void> {
  const name = `${randomUUID()}.jpg`;
  await vond.upload(name, picture);
  const words = good(await vond.convert(conversionOf(name, 'Nonsense', randomUUID())));
  assert.equal(words, "There is no configuration 'Nonsense'.\n");
  assert.equal((await vond.result(words)).value?.size ?? 0, 0);

  await vond.upload(name, new Blob(['no picture']));
  const more = good(await vond.convert(conversionOf(name, 'sRGB', randomUUID())));
  assert.match(more, /\/.*cannot be read as a TIFF, JPEG or PNG picture/);
}

async function followsAndCancels(vond: Vond, picture: Blob): Promise<void> {
  const id = randomUUID();
  await vond.upload(`${id}.jpg`, picture);
  let over = false;
  const conversion = vond.convert(conversionOf(`${id}.jpg`, 'Held', id)).finally(() => {
    over = true;
  });
  let told = '';
  while (!over && !told.includes('10%')) {
    told = (await vond.progress(id)).value ?? '';
  }
  assert.match(told, /Progress: 10%/);
  assert.equal(good(await vond.cancel(id)), id);
  assert.equal(good(await conversion).trim(), 'The conversion was cancelled by its stop file.');
  assert.equal((await vond.progress(id)).value ?? '', '');
}

async function sendsPicturesInside(vond: Vond, picture: Blob, profile: Buffer): Promise<void> {
  const data = Buffer.from(await picture.arrayBuffer()).toString('base64');
  const name = randomUUID();
  const answer = good(await vond.convertInside(`${name}.jpg`, data, profile.toString('base64')));
  assert.ok(answer.endsWith(`/${name}_sRGB.jpg`), answer);
  assert.match(good(await vond.run('listconfigurations')).stdOut ?? '', /PressCMYK/);
}

async function seesARefusal(connect: Connect, address: string): Promise<void> {
  const password = `Basic ${Buffer.from('client:secret').toString('base64')}`;
  const proxy = createServer((question, answer) => {
    if (question.headers.authorization !== password) {
      question.resume();
      answer.writeHead(401, { 'Content-Type': 'text/plain' }).end('refused: 401\n');
      return;
    }
    const { method, headers } = question;
    question.pipe(
      request(address + question.url, { method, headers }, (reply) => {
        answer.writeHead(reply.statusCode ?? 502, reply.headers);
        reply.pipe(answer);
      }),
    );
  });
  await new Promise<void>((listening) => proxy.listen(0, '127.0.0.1', listening));
  const before = `http://127.0.0.1:${(proxy.address() as AddressInfo).port}`;
  try {
    const refused = await connect(before).result('any.jpg');
    assert.equal(refused.status, 401);
    assert.equal(refused.value, undefined, 'the words of a refusal are no picture');
    assert.equal((await connect(before, 'client:secret').progress('none')).status, 200);
  } finally {
    proxy.closeAllConnections();
    proxy.close();
  }
}

/** Runs everything; exits with 1 and the reason if something is wrong. */
export async function run(generator: string, connect: Connect): Promise<void> {
  const [address, file, profile] = process.argv.slice(2) as [string, string, string];
  const picture = new Blob([new Uint8Array(await readFile(file))]);
  const vond = connect(address);
  await convertsAPicture(vond, picture);
  await hearsWhyAConversionFailed(vond, picture);
  await followsAndCancels(vond, picture);
  await sendsPicturesInside(vond, picture, await readFile(profile));
  await seesARefusal(connect, address);
  console.log(`ok      a client of ${generator}: converts, fails, cancels, is refused`);
}
