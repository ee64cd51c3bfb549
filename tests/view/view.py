#!/usr/bin/env python3
"""What vrelview answers, to whom, and when. usage: view.py DIRECTORY_OF_TOOLS"""
import json, os, shutil, signal, socket, subprocess, sys, tempfile, time

from ledger import Ledger, View

TOOLS = sys.argv[1]
API = ['boards', 'services', 'summary', 'places', 'hours', 'search?text=A', 'events']


def expect(actual, expected, what):
    if actual != expected:
        sys.exit(f'{what}: {str(actual)[:2000]!r} instead of {expected!r}')


def eventually(condition, what, seconds=60):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            sys.exit(f'{what}: not within {seconds} s')
        time.sleep(0.02)


class Events:
    """Follows the announcements by a plain socket."""
    def __init__(self, view):
        self.socket = socket.create_connection(('127.0.0.1', view.port), 60)
        self.socket.sendall(f'GET /api/v1/events HTTP/1.1\r\nHost: localhost:{view.port}\r\n\r\n'.encode())
        self.text = b''
        self.wait(b'retry: ')

    def wait(self, what=b'event: change\n'):
        """The seconds until it comes, with the next line."""
        start = time.monotonic()
        while not (what in self.text and self.text.partition(what)[2].count(b'\n')):
            part = self.socket.recv(65536)
            assert part, self.text
            self.text += part
        self.text = self.text.partition(what)[2]
        return time.monotonic() - start


def raw(view, *lines):
    """The status of a request of these lines."""
    with socket.create_connection(('127.0.0.1', view.port), 60) as connection:
        connection.sendall('\r\n'.join([*lines, '', '']).encode('latin-1'))
        return int(connection.makefile('rb').readline().split()[1])


def check_start(directory):
    """What is told without a ledger, how one is found, and what ends the program."""
    for options, status in [([], 2), (['x', 'y'], 2), ([''], 2), (['x', '--listen', 'x'], 2), (['x', '--listen', '1.2.3.4:70000'], 2),
                            (['x', '--listen', 'host.example:80'], 2), (['x', '--listen', '203.0.113.1:0'], 1)]:
        done = subprocess.run([f'{TOOLS}/vrelview', *options], capture_output=True, text=True, timeout=60)
        expect((done.returncode, done.stdout, done.stderr[:7]), (status, '', 'error: '), f'vrelview {options}')
    path = f'{directory}/late.db'
    view = View(TOOLS, path)
    expect(subprocess.run([f'{TOOLS}/vrelview', path, '--listen', f'127.0.0.1:{view.port}'], capture_output=True).returncode, 1,
           'A port that is taken')
    healthy = lambda: view.ask('/healthz')[0] == 200
    for step in ['missing', 'broken']:
        for address in ['/healthz', '/metrics', *[f'/api/v1/{name}' for name in API]]:
            status, _, body = view.ask(address)
            expect((status, b'late.db' in body), (503, True), f'{address} with a {step} ledger')
        expect(view.ask('/')[0], 200, f'The page with a {step} ledger')
        if step == 'missing':
            Ledger(path, TOOLS).serve('A-1')
            eventually(healthy, 'A ledger that is made')
            follower = Events(view)
            open(path, 'w').write('no ledger any more' * 1000)
            os.remove(f'{path}-wal') if os.path.exists(f'{path}-wal') else None
            follower.wait()
    ledger = Ledger(f'{directory}/new.db', TOOLS)
    ledger.serve('A-2')
    ledger.database.close()
    os.replace(f'{directory}/new.db', path)
    eventually(healthy, 'A ledger that takes the place of another')
    expect([board['serial'] for board in view.json('/api/v1/boards')], ['A-2'], 'The boards of another ledger')
    expect(view.end(), 0, 'The exit code')


def check_requests(view):
    """Who gets an answer, and to what."""
    own = f'Host: 127.0.0.1:{view.port}'
    port = view.port
    for lines, status in [([own], 200), ([f'hOST: LOCALHOST:{port}'], 200), ([f'Host: [::1]:{port}'], 200),
                          (['Host: example.org'], 403), ([f'Host: example.org:{port}'], 403), ([f'Host: 127.0.0.1.example.org:{port}'], 403),
                          (['Host: 127.0.0.1'], 403), (['Host:'], 403), ([], 400), ([own, own], 400), ([own, 'Host: example.org'], 400),
                          ([own, 'Content-Length: 5'], 400), ([own, 'X: ' + 'x' * 40000], 431)]:
        expect(raw(view, 'GET / HTTP/1.1', *lines), status, f'Status with {str(lines)[:60]}')
    expect(raw(view, 'GET / HTTP/1.0'), 400, 'Status without a host')
    for method in ['POST', 'PUT', 'DELETE', 'OPTIONS', 'TRACE', 'PATCH', 'BREW']:
        for target in ['/', '/api/v1/boards']:
            status, headers, _ = view.ask(target, method, body='{}' if method == 'POST' else None)
            expect((status, headers['Allow']), (405, 'GET, HEAD'), method)
    for target, status, kind in [
            ('/', 200, 'text/html'), ('/style.css', 200, 'text/css'), ('/line.js', 200, 'text/javascript'), ('/icon.svg', 200, 'image/svg'),
            ('/board/A%2F1', 200, 'text/html'), ('/board/', 404, 'text/html'), ('/board/none', 404, 'text/html'), ('/board', 404, 'text/plain'),
            ('/log/none', 404, 'text/plain'), ('/log/../ledger.py', 404, 'text/plain'), ('/%2e%2e/x', 404, 'text/plain'), ('/%zz', 400, 'text/plain'),
            ('/api/v1/boards?limit=2&offset=1', 200, 'application/json'), ('/api/v1/boards?limit=-1', 400, 'text/plain'),
            ('/api/v1/boards?limit=', 400, 'text/plain'), ('/api/v1/services?offset=1e3', 400, 'text/plain'),
            ('/api/v1/services?limit=9999999999999999999', 400, 'text/plain'), ('/api/v1/summary?since=yesterday', 400, 'text/plain'),
            ('/api/v1/summary?result=good', 400, 'text/plain'), ('/api/v1/places?colour=red', 400, 'text/plain'),
            ('/api/v1/search', 400, 'text/plain'), ('/api/v1/hours?since=8h', 200, 'application/json'), ('/api/v2/boards', 404, 'text/plain'),
            ('/metrics', 200, 'text/plain'), ('/boards.csv?job=none', 200, 'text/csv'), ('/healthz', 200, 'text/plain')]:
        answered, headers, body = view.ask(target)
        expect((answered, headers['Content-Type'].startswith(kind)), (status, True), target)
        for name, value in [('Content-Security-Policy', "default-src 'none'; script-src 'self'"), ('X-Content-Type-Options', 'nosniff'),
                            ('Referrer-Policy', 'no-referrer'), ('Cache-Control', 'no-store')]:
            expect(value in (headers[name] or ''), True, f'{name} of {target}')
        head = view.ask(target, 'HEAD')
        expect((head[0], head[1]['Content-Type'], head[1]['Content-Length'], head[2]),
               (status, headers['Content-Type'], headers['Content-Length'], b''), f'HEAD of {target}')
        for word in [b'<script>', b'onerror', b'style=']:
            expect(word in body and kind == 'text/html', False, f'{word} in {target}')


def check_rows(view, ledger):
    """Filters, and rows that are sent in parts."""
    for number in range(2300):
        ledger.serve(f'P-{number}', f'1-2.{number % 9}', job='parts', station='line-9', began=number * 3600000 + 1, took=10)
    for name, options in [('boards', ''), ('services', ''), ('summary', ''), ('boards', 'job=parts&result=success&since=9d'), ('summary', 'job=parts')]:
        words = [word for option in options.split('&') if option for word in ('--' + option).split('=')]
        told = subprocess.run([f'{TOOLS}/vrelhost', 'ledger', name, ledger.path, '--json', *words], capture_output=True, check=True).stdout
        expect(view.ask(f'/api/v1/{name}?{options}')[2] == told, True, f'{name} {options} as vrelhost prints them')
    told = subprocess.run([f'{TOOLS}/vrelhost', 'ledger', 'boards', ledger.path, '--csv'], capture_output=True, check=True).stdout
    expect(view.ask('/boards.csv')[2] == told, True, 'The boards as vrelhost prints them')
    every = view.json('/api/v1/services?job=parts')
    expect([service['serial'] for service in every], [f'P-{number}' for number in range(2300)], 'Services in parts')
    for offset, limit in [(0, 0), (0, 1000), (5, 1000), (999, 1300), (2299, 10), (2300, 10), (1300, 1000), (300, 2000)]:
        part = view.json(f'/api/v1/services?job=parts&offset={offset}&limit={limit}')
        expect(part == every[offset:offset + limit], True, f'{limit} services from {offset}')
    expect([service['service'] for service in view.json('/api/v1/services?serial=P-7')], [every[7]['service']], 'A filter by serial number')
    expect(len(view.json('/api/v1/services?job=parts&since=1970-01-02&until=1970-01-03')), 24, 'The services of a day')
    expect(len(view.json('/api/v1/services?job=parts&since=8h')), 0, 'The services of eight hours')
    expect([place['path'] for place in view.json('/api/v1/places?station=line-9')], [f'1-2.{number}' for number in range(9)], 'Places')
    hours = view.json('/api/v1/hours?job=parts&offset=1&limit=1')
    expect(hours, [{'hour': '1970-01-01T01:00:00.000Z', 'success': 1, 'failure': 0}], 'Boards of an hour')
    expect([board['serial'] for board in view.json('/api/v1/search?text=p-229')][:2], ['P-229', 'P-2290'], 'A search')
    expect([job['boards'] for job in view.json('/api/v1/summary?job=parts')], [2300], 'A summary')
    metrics = view.ask('/metrics')[2].decode().splitlines()
    for line in ['vrel_boards{job="parts",station="line-9",result="success"} 2300', 'vrel_services_under_way{station="line-9"} 0',
                 'vrel_step_seconds_bucket{job="parts",command="writetoken",le="0.01"} 4600', r'vrel_boards{job="a\"\\b",station="line-1",result="failure"} 1',
                 'vrel_step_seconds_count{job="parts",command="enumerate"} 2300', 'vrel_step_seconds_sum{job="parts",command="enumerate"} 6.900']:
        expect(line in metrics, True, line)


def check_logs(view, ledger, directory):
    """Files that a ledger names, whatever they are by now."""
    def named(name):
        return '/log/' + ledger.serve('L-1', '1-3', log=f'{directory}/{name}')
    names = ['a.jsonl', 'pipe.jsonl', 'folder.jsonl', 'link.jsonl', 'other', 'gone.jsonl']
    log, *others = [named(name) for name in names]
    text = b''.join(b'{"text":"line %d"}\n' % number for number in range(1100000))
    open(f'{directory}/a.jsonl', 'wb').write(text)
    os.mkfifo(f'{directory}/pipe.jsonl')
    os.mkdir(f'{directory}/folder.jsonl')
    open(f'{directory}/other', 'w').write('secret\n')
    os.symlink('a.jsonl', f'{directory}/link.jsonl')
    expect(view.ask(log)[2] == text, True, 'A log of 20 MB')
    expect(view.ask(f'{log}?tail=20')[2], text[-20:], 'The end of a log')
    for address in others:
        expect(view.ask(address)[0], 404, f'What is no log: {address}')
    expect(view.ask(f'{log}?tail=x')[0], 400, 'A bad tail')
    expect(view.json('/api/v1/places?serial=L-1')[0]['line'], None, 'The line of a log that is gone')


def check_events(view, ledger, directory):
    """What is announced, and that all hear of it, in little memory."""
    log = f'{directory}/growing.jsonl'
    open(log, 'w').write('{"text":"first"}\n{"text":"half')
    place = lambda: view.json('/api/v1/places?station=live')[0]
    follower = Events(view)
    process = ledger.alive(1)
    service = ledger.serve('E-1', station='live', done=1, process=1, log=log)
    times = [follower.wait()]
    eventually(lambda: (place()['result'], place()['step'], place()['line']) == ('under way', '2/3 writetoken', 'first'), 'A board that is under way')
    open(log, 'a').write(' of it"}\n')
    times.append(follower.wait())
    eventually(lambda: place()['line'] == 'half of it', 'The latest line')
    process.close()
    times.append(follower.wait())
    eventually(lambda: place()['result'] == 'interrupted', 'A process that died')
    before = view.memory()
    followers = [Events(view) for _ in range(200)]
    ledger.finish(service)
    start = time.monotonic()
    for one in followers:
        one.wait()
    times.append(time.monotonic() - start)
    expect(place()['result'], 'success', 'A board that is done')
    expect(min(times) < 1.0, True, f'Seconds until a change is announced: {times}')
    expect(view.memory() - before < 8192 or 'san.so' in open(f'/proc/{view.process.pid}/maps').read(), True, f'Memory for 200 followers, {before} to {view.memory()} KiB')
    follower.wait(b'event: alive\n')
    return followers


def main(directory):
    check_start(directory)
    ledger = Ledger(f'{directory}/ledger.db', TOOLS)
    view = View(TOOLS, ledger.path, '--title', '<script>"&')
    slow = socket.create_connection(('127.0.0.1', view.port), 60)
    slow.sendall(b'GET / HTTP/1.1\r\n')
    ledger.serve('A/1', job='a"\\b', done=1, error='<img src=x onerror=alert(1)>')
    expect(b'<title>&lt;script&gt;&quot;&amp;</title>' in view.ask('/')[2], True, 'The title')
    check_requests(view)
    check_rows(view, ledger)
    check_logs(view, ledger, directory)
    followers = check_events(view, ledger, directory)
    slow.sendall(b'X')
    expect(slow.recv(1), b'', 'A request that does not come to an end')
    expect(view.end(), 0, 'The exit code with followers')
    for one in followers:
        while one.socket.recv(65536):
            pass


with tempfile.TemporaryDirectory() as scratch:
    main(scratch)
