/**
 * The service behind the proxies as shipped, on free loopback ports, with their own settings and files in one temporary
 * folder. For the tests in a browser and for the picture in README.md.
 */

import { spawn, execFileSync } from 'node:child_process';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const ROOT = fileURLToPath(new URL('../../..', import.meta.url));
const BUILD = process.env.VOND_BUILD ?? path.join(ROOT, 'build/release');
export const PASSWORD = { username: 'client', password: 'secret' };

/**
 * A program that was started here; stop() ends it.
 */
class Program {
  constructor(command, args, options = {}) {
    this.output = '';
    this.process = spawn(command, args, {
      stdio: ['ignore', 'pipe', 'pipe'],
      detached: true,
      ...options,
    });
    this.ended = new Promise((resolve) => this.process.on('close', resolve));
    this.process.on('error', (error) => (this.output += error.message));
    for (const stream of [this.process.stdout, this.process.stderr]) {
      stream.on('data', (text) => (this.output = (this.output + text).slice(-20000)));
    }
  }

  get runs() {
    return this.process.exitCode === null && this.process.signalCode === null;
  }

  /** With everything that it has started: a running tool would outlive its service. */
  async stop(signal = 'SIGTERM') {
    if (this.process.pid && this.runs) {
      process.kill(-this.process.pid, signal);
    }
    await this.ended;
  }
}

export async function freePort() {
  const server = net.createServer();
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  const { port } = server.address();
  await new Promise((resolve) => server.close(resolve));
  return port;
}

/** Waits until the condition holds; checks it often. */
export async function until(what, condition, seconds = 20) {
  const deadline = performance.now() + seconds * 1000;
  for (;;) {
    const value = await condition();
    if (value) {
      return value;
    }
    if (performance.now() > deadline) {
      throw new Error(`waited ${seconds} s in vain for ${what}`);
    }
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
}

function answers(port) {
  return new Promise((resolve) => {
    const socket = net.connect(port, '127.0.0.1', () => {
      socket.destroy();
      resolve(true);
    });
    socket.on('error', () => resolve(false));
  });
}

export class Site {
  #programs = [];

  constructor() {
    this.folder = fs.mkdtempSync(path.join(os.tmpdir(), 'vond-console.'));
    fs.chmodSync(this.folder, 0o755); // when started by root, nginx runs its workers as another user
    this.files = path.join(this.folder, 'files');
    this.page = path.join(this.folder, 'page');
    fs.mkdirSync(this.files);
    fs.cpSync(path.join(ROOT, 'console/page'), this.page, { recursive: true });
    fs.cpSync(path.join(ROOT, 'build/tiff-decoder'), path.join(this.page, 'decoder'), {
      recursive: true,
    });
    execFileSync('chmod', ['-R', 'go+rX', this.page]);
  }

  path(...names) {
    return path.join(this.folder, ...names);
  }

  async stop() {
    for (const program of this.#programs.reverse()) {
      await program.stop();
    }
    fs.rmSync(this.folder, { recursive: true, force: true });
  }

  /**
   * The sample tool, which is slow, fails or crashes if the name of a file in the folder "orders" asks for it.
   */
  tool() {
    const tool = this.path('tool');
    const sample = path.join(BUILD, 'sampletool/vond-sample');
    fs.writeFileSync(
      tool,
      `#!/bin/bash
orders=${this.folder}/orders
for word in "$@"; do [[ $word != --stopfile=* ]] || stop=\${word#*=}; done
if [[ -f $orders/slow && "$*" == *--progress* ]]; then
    for percent in {1..99}; do
        [[ ! -e $stop ]] || { echo "The conversion was cancelled by its stop file."; echo "Error: cancelled" >&2; exit 1; }
        [[ ! -f $orders/stay-at || $percent -le $(<"$orders/stay-at") ]] || { sleep 0.05; [[ ! -f $orders/stay-at ]] || set -- "$@"; }
        echo "Progress: $percent%"
        sleep "$(<"$orders/slow")"
    done
fi
if [[ -f $orders/fail && "$*" == *--progress* ]]; then
    cat "$orders/fail"
    echo "Error: ordered" >&2
    exit 1
fi
exec "${sample}" "$@"
`,
      { mode: 0o755 },
    );
    fs.mkdirSync(this.path('orders'), { recursive: true });
    return tool;
  }

  order(name, text) {
    fs.writeFileSync(this.path('orders', name), text);
  }

  withdraw(...names) {
    names.forEach((name) => fs.rmSync(this.path('orders', name), { force: true }));
  }

  async service({ port, files = this.files } = {}) {
    const chosen = port ?? (await freePort());
    fs.mkdirSync(files, { recursive: true });
    fs.mkdirSync(this.path('etc'), { recursive: true });
    const program = new Program(
      path.join(BUILD, 'app/vondServer'),
      ['127.0.0.1', String(chosen), this.tool()],
      {
        env: {
          ...process.env,
          XDG_CONFIG_HOME: this.path('config'),
          XDG_CONFIG_DIRS: this.path('etc'),
          TMPDIR: files,
          QT_ASSUME_STDERR_HAS_CONSOLE: '1',
        },
      },
    );
    this.#programs.push(program);
    await until('the service', () => {
      if (!program.runs) {
        throw new Error(`the service did not start: ${program.output}`);
      }
      return program.output.includes(`Running on http://127.0.0.1:${chosen}/`);
    });
    return { port: chosen, stop: (signal) => program.stop(signal) };
  }

  certificate() {
    if (!fs.existsSync(this.path('both.pem'))) {
      execFileSync(
        'openssl',
        [
          ...'req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=localhost'.split(' '),
          ...['-keyout', this.path('key.pem'), '-out', this.path('cert.pem')],
        ],
        { stdio: 'ignore' },
      );
      const both = ['cert.pem', 'key.pem']
        .map((name) => fs.readFileSync(this.path(name), 'utf8'))
        .join('');
      fs.writeFileSync(this.path('both.pem'), both);
    }
  }

  /**
   * nginx with deploy/nginx.conf.
   *
   * @param options.tls false: HTTP/1.1 without encryption
   * @param options.changes further [text, replacement] in the shipped file, which must have the text
   */
  async nginx(service, { tls = true, password = false, changes = [] } = {}) {
    const port = await freePort();
    this.certificate();
    execFileSync(
      'htpasswd',
      ['-b', '-c', '-B', this.path('htpasswd'), PASSWORD.username, PASSWORD.password],
      {
        stdio: 'ignore',
      },
    );
    fs.chmodSync(this.path('htpasswd'), 0o644);
    let text = fs.readFileSync(path.join(ROOT, 'deploy/nginx.conf'), 'utf8');
    const put = (from, to) => {
      if (!text.includes(from)) {
        throw new Error(`nginx.conf lacks: ${from}`);
      }
      text = text.replaceAll(from, to);
    };
    put(
      'listen 443 ssl http2',
      tls ? `listen 127.0.0.1:${port} ssl http2` : `listen 127.0.0.1:${port}`,
    );
    put('server 127.0.0.1:8080', `server 127.0.0.1:${service.port}`);
    put('/etc/ssl/certs/vond.pem', this.path('cert.pem'));
    put('/etc/ssl/private/vond.key', this.path('key.pem'));
    put(
      'auth_basic_user_file /etc/nginx/vond.htpasswd',
      `auth_basic_user_file ${this.path('htpasswd')}`,
    );
    put('if (-f /run/vond-drain)', `if (-f ${this.path('drain')})`);
    put('/usr/share/vond-server/console/', `${this.page}/`);
    put('access_log /var/log/nginx/vond.log vond_json', 'access_log off');
    if (!password) {
      put('auth_basic "vond";', 'auth_basic off;');
    }
    changes.forEach(([from, to]) => put(from, to));
    const place = this.path(`nginx-${port}`);
    fs.mkdirSync(place);
    fs.writeFileSync(path.join(place, 'site.conf'), text);
    const temporary = ['client_body', 'proxy', 'fastcgi', 'uwsgi', 'scgi']
      .map((name) => `${name}_temp_path ${place}/${name};`)
      .join(' ');
    fs.writeFileSync(
      path.join(place, 'nginx.conf'),
      `daemon off; pid ${place}/pid; error_log ${place}/error.log; events { worker_connections 1024; }
http { access_log off; ${temporary} include ${place}/site.conf; }
`,
    );
    return this.#proxy('nginx', ['-c', path.join(place, 'nginx.conf')], port, tls);
  }

  /** HAProxy with deploy/haproxy.cfg in front of the services, and nginx behind it for the page's files. */
  async haproxy(services) {
    const port = await freePort();
    this.certificate();
    const files = await freePort();
    fs.mkdirSync(this.path('www'), { recursive: true });
    if (!fs.existsSync(this.path('www/console'))) {
      fs.symlinkSync(this.page, this.path('www/console'));
    }
    await this.#proxy(
      'busybox',
      ['httpd', '-f', '-p', `127.0.0.1:${files}`, '-h', this.path('www')],
      files,
      false,
    );
    const environment = {
      VOND_BIND: `127.0.0.1:${port}`,
      VOND_CERTIFICATE: this.path('both.pem'),
      VOND_PASSWORD: execFileSync('openssl', ['passwd', '-5', PASSWORD.password], {
        encoding: 'utf8',
      }).trim(),
      VOND_SOCKET: this.path('haproxy.sock'),
      VOND_INSIDE: `abns@vond-console-${port}`,
      VOND_METRICS: `abns@vond-console-metrics-${port}`,
      VOND_CONTAINER: '1',
      VOND_AGENT_PORT: '1',
      VOND_CONSOLE: `127.0.0.1:${files}`,
    };
    services.forEach((service, i) => (environment[`VOND_${i}`] = `127.0.0.1:${service.port}`));
    // "Container" means: log to standard output, and do not change the user. There are no agents and no names here.
    const text = fs
      .readFileSync(path.join(ROOT, 'deploy/haproxy.cfg'), 'utf8')
      .replaceAll(/^ *default-server (agent-check|resolvers).*$/gm, '');
    fs.writeFileSync(this.path('haproxy.cfg'), text);
    return this.#proxy('haproxy', ['-f', this.path('haproxy.cfg')], port, true, environment);
  }

  async #proxy(command, args, port, tls, environment = {}) {
    const program = new Program(command, args, {
      env: {
        ...process.env,
        PATH: `${process.env.PATH}:/usr/sbin`,
        ...environment,
      },
    });
    this.#programs.push(program);
    await until(command, () => {
      if (!program.runs) {
        throw new Error(`${command} did not start: ${program.output}`);
      }
      return answers(port);
    });
    const base = `${tls ? 'https' : 'http'}://localhost:${port}/`;
    return {
      base,
      page: `${base}console/`,
      port,
      stop: (signal) => program.stop(signal),
    };
  }
}
