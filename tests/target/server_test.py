"""The server around the service: its options, its limits, TLS, how it ends; the client of the command line."""

import collections
import os
import pathlib
import signal
import subprocess
import tempfile
import threading
import time
import unittest

import grpc

from harness import Target, gnmi, gnmi_pb2_grpc, path, update, val
from subscribe_test import Stream, listed

EXAMPLE = pathlib.Path(os.environ['TARGET_YANG'])


def mtu(name, value):
    return gnmi.SetRequest(update=[update(f'/interfaces/interface[name={name}]/mtu', value)])


class Options(unittest.TestCase):
    def refused(self, *options):
        done = subprocess.run([os.environ['TARGET'], *options], capture_output=True, text=True, timeout=60)
        self.assertNotEqual(done.returncode, 0)
        return done.stderr

    def test_what_is_refused(self):
        yang = ('--yang', str(EXAMPLE))
        for options, word in [((), '--yang is required'), ((*yang, '--listen', '127.0.0.1:0', '--colour'), '--colour'), (('--yang',), '--yang'),
                              ((*yang, '--listen', '0.0.0.0:0'), 'without --tls'),
                              ((*yang, '--listen', 'example.com:1'), 'without --tls'),
                              ((*yang, '--listen', '127.evil.example:1'), 'without --tls'),
                              ((*yang, '--listen', '127.0.0.1:0', '--client-ca', 'x'), '--client-ca requires --tls'),
                              ((*yang, '--listen', '127.0.0.1:0', '--tls', 'x'), '--tls'),
                              ((*yang, '--listen', '127.0.0.1:0', '--tls', '/nothing', '/nothing'), '/nothing'),
                              ((*yang, '--listen', '127.0.0.1:0', '--max-keys', '1x'), '1x'),
                              ((*yang, '--listen', '127.0.0.1:0', '--max-message', str(2**31)), str(2**31)),
                              (('--yang', '/nothing', '--listen', '127.0.0.1:0'), '/nothing')]:
            self.assertIn(word, self.refused(*options))
        with Target() as target:
            self.assertIn('cannot listen', self.refused(*yang, '--listen', f'127.0.0.1:{target.port}'))


class Limits(unittest.TestCase):
    def start(self, *options):
        target = Target(*options)
        self.addCleanup(target.__exit__)
        return target

    def code(self, call):
        with self.assertRaises(grpc.RpcError) as caught:
            call()
        return caught.exception.code().name

    def test_big_messages(self):
        target = self.start()
        big = update('/interfaces/interface[name=a]/description', 'x' * (64 << 20))
        self.assertEqual(self.code(lambda: target.stub.Set(gnmi.SetRequest(update=[big]))), 'RESOURCE_EXHAUSTED')
        target.stub.Set(mtu('a', 100))

    def test_expansions(self):
        target = self.start('--max-expansions', '5')
        target.stub.Set(gnmi.SetRequest(delete=[path('/system/hostname')] * 100))
        self.assertEqual(self.code(lambda: target.stub.Get(gnmi.GetRequest(path=[path('/...')]))), 'RESOURCE_EXHAUSTED')
        self.assertEqual(Stream(target.stub, listed('/...')).status()[0], 'RESOURCE_EXHAUSTED')

    def test_expansions_of_a_request(self):
        target = self.start()
        target.stub.Set(gnmi.SetRequest(update=[update('/system/hostname', 'h')]))
        paths = [path('/...')] * 100_000
        self.assertEqual(self.code(lambda: target.stub.Get(gnmi.GetRequest(path=paths))), 'RESOURCE_EXHAUSTED')
        self.assertEqual(self.code(lambda: target.stub.Set(gnmi.SetRequest(delete=paths))), 'RESOURCE_EXHAUSTED')

    def test_answers(self):
        target = self.start('--max-answer', '100000')
        target.stub.Set(gnmi.SetRequest(update=[update('/system/contact', 'x' * 1000)]))
        target.stub.Get(gnmi.GetRequest(path=[path('/system/contact')] * 90))
        self.assertEqual(self.code(lambda: target.stub.Get(gnmi.GetRequest(path=[path('/system/contact')] * 110))),
                         'RESOURCE_EXHAUSTED')

    def test_long_texts_of_errors_are_cut(self):
        target = self.start()
        for name in 'x' * 1_000_000, '\u20ac' * 1_000_000:
            with self.assertRaises(grpc.RpcError) as caught:
                target.stub.Get(gnmi.GetRequest(path=[gnmi.Path(elem=[gnmi.PathElem(name=name)])]))
            self.assertEqual(caught.exception.code().name, 'UNIMPLEMENTED')
            self.assertLess(len(caught.exception.details()), 1100)
        with self.assertRaises(grpc.RpcError) as caught:
            target.stub.Set(gnmi.SetRequest(update=[update('/system', {'\u20ac' * 100_000: 1})]))
        self.assertEqual(caught.exception.code().name, 'INVALID_ARGUMENT')
        self.assertTrue(caught.exception.details().endswith('\u20ac...'), caught.exception.details()[-20:])

    def test_streams(self):
        target = self.start('--max-streams', '3')
        open_ = [Stream(target.stub, listed('/')) for _ in range(3)]
        for stream in open_:
            stream.until_sync()
        more = [Stream(target.stub, listed('/')) for _ in range(500)]
        self.assertEqual({stream.status()[0] for stream in more}, {'RESOURCE_EXHAUSTED'})
        target.stub.Set(mtu('a', 100))
        for stream in open_:
            self.assertIn(('/interfaces/interface[name=a]/name', 'a'), stream.next()[0])
            stream.cancel()
        # Room again.
        for _ in range(100):
            stream = Stream(target.stub, listed('/', mode='ONCE'))
            if stream.status() == 'OK':
                break
            time.sleep(0.1)
        else:
            self.fail('streams that ended still count')

    def test_streams_of_a_connection(self):
        """One client with too many streams leaves room for others, and its own calls are still answered."""
        target = self.start('--max-connection-streams', '20', '--max-streams', '30')
        streams = [Stream(target.stub, listed('/', updates_only=True)) for _ in range(500)]
        ended = collections.Counter(stream.status()[0] for stream in streams[20:])
        self.assertEqual(ended, {'RESOURCE_EXHAUSTED': 480})
        target.stub.Set(mtu('a', 100))
        for stream in streams[:20]:
            stream.until_sync()
            stream.cancel()
        other = grpc.insecure_channel(f'127.0.0.1:{target.port}', options=[('x', 1)])
        Stream(gnmi_pb2_grpc.gNMIStub(other), listed('/', mode='ONCE')).until_sync()
        other.close()

    def test_entries_that_are_looked_at(self):
        target = self.start('--max-entries', '1000')
        target.stub.Set(gnmi.SetRequest(update=[update(f'/routing/instance[name=r]/neighbour[peer={i}]/weight', 1)
                                                for i in range(400)]))
        one = '/routing/instance/neighbour[peer=7]/weight'
        target.stub.Get(gnmi.GetRequest(path=[path(one)] * 900))
        every = path('/routing/instance[name=r]/neighbour/weight')
        target.stub.Get(gnmi.GetRequest(path=[every] * 2))
        as_json = gnmi.GetRequest(path=[path('/routing')] * 3)
        for call in (lambda: target.stub.Get(gnmi.GetRequest(path=[every] * 3)), lambda: target.stub.Get(as_json),
                     lambda: target.stub.Set(gnmi.SetRequest(delete=[every] * 3))):
            self.assertEqual(self.code(call), 'RESOURCE_EXHAUSTED')
        self.assertEqual(len(target.stub.Get(gnmi.GetRequest(path=[every])).notification[0].update), 400, 'nothing is gone')

    def test_memory_of_an_answer_that_is_too_long(self):
        target = self.start('--max-answer', '100000')
        for i in range(20):
            target.stub.Set(gnmi.SetRequest(update=[update(f'/interfaces/interface[name=e{i}-{j}]/mtu', 100)
                                                    for j in range(1000)]))
        before = target.peak()
        self.assertEqual(self.code(lambda: target.stub.Get(gnmi.GetRequest(path=[path('/')]))), 'RESOURCE_EXHAUSTED')
        self.assertLess(target.peak() - before, 1000)

    def test_a_client_that_never_reads(self):
        target = self.start('--max-queue', '100')
        quick = Stream(target.stub, listed('/interfaces/interface/description'))
        slow_channel = grpc.insecure_channel(f'127.0.0.1:{target.port}', options=[('x', 1)])
        slow = Stream(gnmi_pb2_grpc.gNMIStub(slow_channel), listed('/interfaces/interface/description'))
        quick.until_sync()
        slow.until_sync()
        read = []
        reader = threading.Thread(target=lambda: read.extend(quick.next() for _ in range(400)))
        reader.start()
        for i in range(400):
            target.stub.Set(gnmi.SetRequest(update=[update('/interfaces/interface[name=a]/description',
                                                           str(i) + 'x' * 100_000)]))
        reader.join(60)
        self.assertEqual(len(read), 400)
        status = slow.status()
        self.assertEqual(status[0], 'RESOURCE_EXHAUSTED', status)
        slow_channel.close()
        self.assertIn('client that does not read', target.end()[1])


    def test_a_client_that_never_reads_its_samples(self):
        """One sample may be more than may wait; it does not lift the limit for changes."""
        target = self.start('--max-queue', '100')
        channel = grpc.insecure_channel(f'127.0.0.1:{target.port}', options=[('x', 1)])
        slow = Stream(gnmi_pb2_grpc.gNMIStub(channel), listed(
            '/system/contact', ('/interfaces/interface/description', 'SAMPLE',
                                {'suppress_redundant': True, 'sample_interval': 2 * 10**9})))
        slow.until_sync()
        # One sample of 28 MB, of which gRPC takes a few ahead of the reader.
        for i in range(8):
            target.stub.Set(gnmi.SetRequest(update=[update(f'/interfaces/interface[name={i}-{j}]/description', 'x' * 100_000)
                                                    for j in range(35)]))
        time.sleep(3)
        for i in range(400):
            target.stub.Set(gnmi.SetRequest(update=[update('/system/contact', str(i) + 'x' * 100_000)]))
        never = threading.Timer(30, slow.cancel)
        never.start()
        self.assertEqual(slow.status()[0], 'RESOURCE_EXHAUSTED')
        never.cancel()
        channel.close()
        self.assertIn('client that does not read', target.end()[1])


class Ending(unittest.TestCase):
    def test_drains(self):
        target = Target()
        stream = Stream(target.stub, listed('/'))
        stream.until_sync()
        target.process.send_signal(signal.SIGTERM)
        self.assertEqual(stream.status(), ('UNAVAILABLE', 'the target is going down'))
        self.assertEqual(target.end()[0], 0)

    def test_killed_while_a_set_runs(self):
        target = Target()
        many = gnmi.SetRequest(update=[update(f'/interfaces/interface[name={i}]/mtu', 100) for i in range(20_000)])
        running = target.stub.Set.future(many)
        stream = Stream(target.stub, listed('/'))
        stream.until_sync()
        target.end(signal.SIGKILL)
        self.assertEqual(stream.status()[0], 'UNAVAILABLE')
        if running.exception() is not None:
            self.assertEqual(running.code().name, 'UNAVAILABLE')
        with Target() as again:
            again.stub.Set(mtu('a', 100))

    def test_starts_again_on_its_port(self):
        target = Target()
        target.end(signal.SIGKILL)
        with Target(address=f'127.0.0.1:{target.port}') as again:
            again.stub.Set(mtu('a', 100))


class Tls(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        at = cls.folder.name
        for name in 'ca', 'target', 'client':
            sign = ['-x509'] if name == 'ca' else ['-x509', '-CA', f'{at}/ca.pem', '-CAkey', f'{at}/ca.key',
                                                   '-addext', 'subjectAltName=IP:127.0.0.1']
            subprocess.run(['openssl', 'req', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes', '-subj',
                            f'/CN={name}', '-days', '2', '-keyout', f'{at}/{name}.key', '-out', f'{at}/{name}.pem', *sign],
                           check=True, capture_output=True)

    def read(self, name):
        return pathlib.Path(self.folder.name, name).read_bytes()

    def channel(self, target, *parts):
        return gnmi_pb2_grpc.gNMIStub(grpc.secure_channel(f'127.0.0.1:{target.port}',
                                                          grpc.ssl_channel_credentials(*map(self.read, parts))))

    def test_tls(self):
        at = self.folder.name
        options = ('--tls', f'{at}/target.pem', f'{at}/target.key')
        with Target(*options, address='0.0.0.0:0') as target:
            self.channel(target, 'ca.pem').Capabilities(gnmi.CapabilityRequest(), timeout=20)
            for stub in target.stub, self.channel(target, 'client.pem'):
                with self.assertRaises(grpc.RpcError):
                    stub.Capabilities(gnmi.CapabilityRequest(), timeout=5)
        with Target(*options, '--client-ca', f'{at}/ca.pem') as target:
            self.channel(target, 'ca.pem', 'client.key', 'client.pem').Capabilities(gnmi.CapabilityRequest(), timeout=20)
            with self.assertRaises(grpc.RpcError):
                self.channel(target, 'ca.pem').Capabilities(gnmi.CapabilityRequest(), timeout=5)


class Client(unittest.TestCase):
    def run_client(self, target, *words):
        done = subprocess.run(['/usr/bin/python3', EXAMPLE / 'client.py', f'127.0.0.1:{target.port}', *words],
                              capture_output=True, text=True, timeout=60)
        return done.stdout + done.stderr

    def test_client(self):
        with Target() as target:
            where = '/interfaces/interface[name=a\\]b\\\\c]'
            self.assertEqual(self.run_client(target, 'set', where + '/mtu=9000', where + '/description=an = b'),
                             f'UPDATE {where}/mtu\nUPDATE {where}/description\n')
            self.assertEqual(self.run_client(target, 'get', where + '/mtu', where + '/description', '--encoding', 'PROTO'),
                             f'{where}/mtu 9000\n{where}/description an = b\n')
            self.assertEqual(self.run_client(target, 'subscribe', '/interfaces/interface/mtu', '--mode', 'ONCE'),
                             f'{where}/mtu 9000\nall sent\n')
            self.assertEqual(self.run_client(target, 'set', '--delete', where, '--replace', '/system={"hostname": "h"}'),
                             f'DELETE {where}\nREPLACE /system\n')
            self.assertEqual(self.run_client(target, 'get', where), f'client: NOT_FOUND: no data at {where}\n')
            self.assertIn('example-network', self.run_client(target, 'capabilities'))


if __name__ == '__main__':
    unittest.main()
