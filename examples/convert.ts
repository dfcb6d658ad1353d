/**
 * Converts one image through vondServer: upload, convert, follow, fetch. Ctrl-C cancels.
 *
 * Needs nothing but Node.js: `node convert.ts IMAGE` from version 22.18 on, which reads TypeScript.
 * For older versions, compile it with esbuild or tsc.
 */

import { randomUUID } from 'node:crypto';
import { accessSync, constants, statSync } from 'node:fs';
import { readFile, writeFile } from 'node:fs/promises';
import http from 'node:http';
import https from 'node:https';
import path from 'node:path';
import { parseArgs } from 'node:util';

const usage = `Usage: convert.ts [-s URL] [-c CONFIGURATION] [-u NAME:PASSWORD] IMAGE [RESULT]

  -s URL             where the service is (http://127.0.0.1:8080)
  -c CONFIGURATION   what to convert with (PressCMYK)
  -u NAME:PASSWORD   for a proxy that asks for it

Without RESULT the result goes beside IMAGE, with the configuration in its name.
Exit status: 0 done; 1 failed, or nobody answers; 2 wrong usage, or IMAGE cannot be read;
130 cancelled with Ctrl-C.`;

/** The tool's own explanation, if it gave one. */
class ConversionFailed extends Error {}

/** A status other than 200: it does not come from a route, and the body is not worth keeping. */
class Refused extends Error {
  readonly status: number;

  constructor(status: number) {
    super(`refused with status ${status}`);
    this.status = status;
  }
}

interface Result {
  name: string;
  content: Buffer;
}

/** Whether this can be a file name worth requesting. A proxy would reject anything else. */
function mayBeName(answer: string): boolean {
  return answer !== '' && answer.length <= 255 && !/[/\\\x00-\x1f\x7f]/.test(answer);
}

class Client {
  readonly #url: string;
  readonly #user: string | undefined;
  // A proxy in front of several services uses a cookie to remember where our upload went.
  readonly #cookies = new Map<string, string>();

  constructor(url: string, user?: string) {
    this.#url = url.replace(/\/$/, '');
    this.#user = user;
  }

  /**
   * GET without a body, POST with one. Not with fetch(): in Node.js it gives up if there is no
   * response within five minutes, and keeps no cookies.
   */
  ask(route: string, body?: Buffer | string): Promise<Buffer> {
    const { request } = this.#url.startsWith('https:') ? https : http;
    return new Promise((resolve, reject) => {
      const options: http.RequestOptions = {
        method: body === undefined ? 'GET' : 'POST',
        headers: this.#cookies.size
          ? { Cookie: [...this.#cookies].map((pair) => pair.join('=')).join('; ') }
          : {},
        agent: false, // a connection of its own: requests on one wait for each other
      };
      if (this.#user !== undefined) {
        options.auth = this.#user;
      }
      const sent = request(this.#url + route, options, (answer) => {
        for (const cookie of answer.headers['set-cookie'] ?? []) {
          const [, name = '', value = ''] = /^([^=;]*)=([^;]*)/.exec(cookie) ?? [];
          this.#cookies.set(name, value);
        }
        const pieces: Buffer[] = [];
        answer.on('data', (piece: Buffer) => pieces.push(piece));
        answer.on('error', reject);
        answer.on('end', () => {
          if (answer.statusCode === 200) {
            resolve(Buffer.concat(pieces));
          } else {
            reject(new Refused(answer.statusCode ?? 0));
          }
        });
      });
      sent.on('error', reject);
      sent.end(body);
    });
  }

  /** Percent; undefined when it is unknown, which includes before and after the conversion. */
  async progress(job: string): Promise<number | undefined> {
    const text = (await this.ask(`/progressInfo/${job}`)).toString();
    const told = [...text.matchAll(/Progress: *(\d+)/g)].pop(); // several lines may come at once
    return told && Number(told[1]);
  }

  /** Rejects with ConversionFailed, Refused, or what the network says; the signal cancels. */
  async convert(
    image: string,
    configuration: string,
    onProgress: (percent: number) => void,
    signal: AbortSignal,
  ): Promise<Result> {
    // Also the cancel ID and the name of the upload. A new name each time: an upload replaces a
    // file of the same name, and the result of an earlier conversion could be taken for ours.
    const job = randomUUID();
    const suffix = /\.[A-Za-z0-9]+$/.exec(image)?.[0] ?? '';
    await this.ask(`/upload/${job}${suffix}`, await readFile(image));

    let over = false;
    const conversion = this.ask(
      '/convert',
      JSON.stringify({
        fileName: job + suffix,
        reqestID: job, // spelt so
        cancelID: job,
        configuration,
      }),
    ).finally(() => {
      over = true;
    });
    conversion.catch(() => {}); // checked below
    let cancelled = false;
    while (!over) {
      if (signal.aborted && !cancelled) {
        cancelled = true;
        await this.ask(`/cancelConversion/${job}`);
      }
      const percent = await this.progress(job).catch(() => undefined);
      if (percent !== undefined) {
        onProgress(percent);
      }
      await Promise.race([
        conversion.catch(() => {}),
        new Promise((wake) => setTimeout(wake, 200)),
      ]);
    }
    const name = (await conversion).toString();
    signal.throwIfAborted();
    return { name, content: await this.fetch(name) };
  }

  /**
   * The content of the result that /convert returned. The response is a name or what went wrong,
   * and only fetching shows which.
   */
  async fetch(answer: string): Promise<Buffer> {
    let content: Buffer | undefined;
    if (mayBeName(answer)) {
      try {
        content = await this.ask(`/getConversionResult/${encodeURIComponent(answer)}`);
      } catch (error) {
        if (!(error instanceof Refused && [400, 404, 414].includes(error.status))) {
          throw error;
        }
      }
    }
    if (!content?.length) {
      throw new ConversionFailed(answer.trim() || 'the tool failed without a word');
    }
    return content;
  }
}

function showBar(percent: number): void {
  if (process.stderr.isTTY) {
    const bar = '#'.repeat((percent * 40) / 100).padEnd(40);
    process.stderr.write(`\r[${bar}] ${String(percent).padStart(3)} %`);
  }
}

function complain(error: unknown, status: number): number {
  console.error(`\nconvert.ts: ${error instanceof Error ? error.message : String(error)}`);
  return status;
}

async function main(words: string[]): Promise<number> {
  let image, given, options;
  try {
    const parsed = parseArgs({
      args: words,
      allowPositionals: true,
      options: {
        url: { type: 'string', short: 's', default: 'http://127.0.0.1:8080' },
        configuration: { type: 'string', short: 'c', default: 'PressCMYK' },
        user: { type: 'string', short: 'u' },
        help: { type: 'boolean', short: 'h' },
      },
    });
    options = parsed.values;
    [image, given] = parsed.positionals;
    if (options.help) {
      console.log(usage);
      return 0;
    }
    if (image === undefined || parsed.positionals.length > 2) {
      throw new Error(usage);
    }
    accessSync(image, constants.R_OK);
    if (!statSync(image).isFile()) {
      throw new Error(`${image} is no file`);
    }
  } catch (error) {
    return complain(error, 2);
  }

  const interrupted = new AbortController();
  process.once('SIGINT', () => interrupted.abort());
  const configuration = options.configuration as string;
  try {
    const client = new Client(options.url as string, options.user);
    const { name, content } = await client.convert(
      image,
      configuration,
      showBar,
      interrupted.signal,
    );
    // With the suffix of the result: the tool may have chosen a format other than the image's.
    const stem = image.slice(0, image.length - path.extname(image).length);
    const result = given ?? `${stem}_${configuration.replaceAll('/', '-')}${path.extname(name)}`;
    await writeFile(result, content);
    if (process.stderr.isTTY) {
      console.error();
    }
    console.log(result);
    return 0;
  } catch (error) {
    return interrupted.signal.aborted ? complain('cancelled', 130) : complain(error, 1);
  }
}

void main(process.argv.slice(2)).then((status) => {
  process.exitCode = status;
});
