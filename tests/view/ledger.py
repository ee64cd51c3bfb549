"""A ledger, written as by stations that do nothing, and vrelview on it."""
import atexit, fcntl, http.client, json, os, sqlite3, struct, subprocess, time, uuid

COMMANDS = ['enumerate', 'writetoken', 'writetoken']


def now():
    return int(time.time() * 1000)


class Ledger:
    def __init__(self, path, tools):
        subprocess.run([f'{tools}/make_ledger', path], check=True)
        self.path, self.database = path, sqlite3.connect(path, isolation_level=None)
        self.database.execute('PRAGMA synchronous = OFF')

    def alive(self, process):
        """What is returned stands for the process, which dies when it is closed."""
        self.database.execute('INSERT OR REPLACE INTO processes VALUES (?, ?)', [process, now()])
        file = open(f'{self.path}-alive', 'a+b')
        fcntl.fcntl(file, fcntl.F_OFD_SETLK, struct.pack('hhqqi4x', fcntl.F_WRLCK, 0, process, 1, 0))
        return file

    def serve(self, serial, path='1-1.1', *, job='job', station='line-1', began=None, took=1000, done=3, error=None,
              process=None, log=None, commands=COMMANDS):
        """A service with so many steps done; with a process it is under way, else failed at the next step or not."""
        service, began = str(uuid.uuid4()), began or now() - took
        result = 'under way' if process else 'success' if done == len(commands) else 'failure'
        end = [None, None] if process else [began + took, took]
        self.database.execute('BEGIN')
        self.database.execute(f'INSERT INTO services VALUES ({", ".join("?" * 16)})', [
            service, serial, path, job, station, 'in-process', began, *end, result, error if result == 'failure' else None, log, '1.0', '1.0', 1, process])
        words = ['success'] * done + ([result] if result == 'failure' else [])
        words += ['not run'] * (len(commands) - len(words))
        self.database.executemany('INSERT INTO steps VALUES (?, ?, ?, ?, ?, ?)', [
            [service, number, command, word, 0 if word == 'not run' else took // len(commands),
             error if word == 'failure' else None]
            for number, (command, word) in enumerate(zip(commands, words), 1)])
        self.database.execute('INSERT INTO inputs VALUES (?, ?, ?, ?)', [service, 'module.bin', 4132, 'ab' * 32])
        self.database.execute('COMMIT')
        return service

    def finish(self, service, done=3, error=None):
        with self.database:
            self.database.execute('BEGIN')
            self.database.execute('UPDATE steps SET result = \'success\', duration = 300 WHERE service = ? AND number <= ?',
                                  [service, done])
            self.database.execute('UPDATE services SET result = ?, error = ?, ended = ?, duration = 1000 WHERE service = ?',
                                  ['failure' if error else 'success', error, now(), service])
            self.database.execute('COMMIT')


class View:
    def __init__(self, tools, ledger, *options):
        self.process = subprocess.Popen([f'{tools}/vrelview', ledger, '--listen', '127.0.0.1:0', *options],
                                        stdout=subprocess.PIPE, text=True)
        atexit.register(self.process.kill)
        self.url = self.process.stdout.readline().strip()
        self.port = int(self.url.rstrip('/').rpartition(':')[2])

    def ask(self, target, method='GET', headers={}, body=None):
        """Status, headers, body."""
        connection = http.client.HTTPConnection('127.0.0.1', self.port, timeout=60)
        connection.request(method, target, body, headers)
        answer = connection.getresponse()
        result = answer.status, answer.headers, answer.read()
        connection.close()
        return result

    def json(self, target):
        status, _, body = self.ask(target)
        assert status == 200, (target, status, body)
        return json.loads(body)

    def memory(self):
        """In KiB."""
        status = open(f'/proc/{self.process.pid}/status').read()
        return int(status.split('VmRSS:')[1].split()[0])

    def end(self):
        self.process.terminate()
        return self.process.wait(60)
