"""Subscribe: what each stream gets, in which order, and how it ends."""

import queue
import threading
import time
import unittest

import grpc

from harness import Target, gnmi, path, text, update, val

SECOND = 10**9


class Stream:
    """Requests go in, and what comes out is waited for."""

    def __init__(self, stub, *requests):
        self.requests = queue.Queue()
        for request in requests:
            self.requests.put(request)
        self.call = stub.Subscribe(iter(self.requests.get, None))
        self.held = {}

    def send(self, request):
        self.requests.put(request)

    def half_close(self):
        self.requests.put(None)

    def next(self):
        """('sync',), or the updates and deletes of one message; `held` is what a client knows by then."""
        response = next(self.call)
        if response.WhichOneof('response') == 'sync_response':
            assert response.sync_response
            return ('sync',)
        notification = response.update
        assert notification.timestamp > 0
        for gone in notification.delete:
            self.held = {p: v for p, v in self.held.items() if p != text(gone) and not p.startswith(text(gone) + '/')}
        self.held.update((text(u.path), val(u.val)) for u in notification.update)
        return ([(text(u.path), val(u.val)) for u in notification.update], [text(d) for d in notification.delete])

    def until_sync(self):
        """All updates before the next sync_response."""
        found = []
        while (message := self.next()) != ('sync',):
            assert not message[1], message
            found += message[0]
        return found

    def status(self):
        try:
            for _ in self.call:
                pass
            return 'OK'
        except grpc.RpcError as error:
            return error.code().name, error.details()

    def cancel(self):
        self.call.cancel()


def listed(*subscriptions, mode='STREAM', encoding='JSON_IETF', **others):
    """A request for paths, or for (path, mode, fields)."""
    made = []
    for one in subscriptions:
        where, kind, fields = one if isinstance(one, tuple) else (one, 'ON_CHANGE', {})
        made.append(gnmi.Subscription(path=path(where), mode=kind, **fields))
    return gnmi.SubscribeRequest(subscribe=gnmi.SubscriptionList(subscription=made, mode=mode, encoding=encoding,
                                                                 **others))


POLL = gnmi.SubscribeRequest(poll=gnmi.Poll())


class Subscribe(unittest.TestCase):
    options = ()

    def setUp(self):
        self.target = Target(*self.options)
        self.addCleanup(self.target.__exit__)
        self.set(('/interfaces/interface[name=a]/mtu', 100), ('/interfaces/interface[name=b]/mtu', 200))

    def set(self, *updates, delete=(), replace=()):
        self.target.stub.Set(gnmi.SetRequest(update=[update(*u) for u in updates], delete=[path(d) for d in delete],
                                             replace=[update(*u) for u in replace]))

    def open(self, *requests):
        stream = Stream(self.target.stub, *requests)
        self.addCleanup(stream.cancel)
        return stream

    def test_once(self):
        for encoding in 'JSON', 'JSON_IETF', 'PROTO':
            stream = self.open(listed('/interfaces/interface/mtu', '/interfaces/interface[name=a]/enabled', mode='ONCE',
                                      encoding=encoding, prefix=gnmi.Path(target='box')))
            self.assertEqual(sorted(stream.until_sync()), [('/interfaces/interface[name=a]/enabled', True),
                                                           ('/interfaces/interface[name=a]/mtu', 100),
                                                           ('/interfaces/interface[name=b]/mtu', 200)])
            self.assertEqual(stream.status(), 'OK')
        stream = self.open(listed('/interfaces', mode='ONCE', updates_only=True))
        self.assertEqual((stream.until_sync(), stream.status()), ([], 'OK'))
        stream = self.open(listed('/system/hostname', mode='ONCE'))
        self.assertEqual((stream.until_sync(), stream.status()), ([], 'OK'), 'nothing there is no error')
        stream = self.open(listed('/system', mode='ONCE', prefix=gnmi.Path(target='box')))
        self.assertEqual(next(stream.call).WhichOneof('response'), 'sync_response')
        stream = self.open(listed('/', mode='ONCE', prefix=gnmi.Path(target='box')))
        self.assertEqual(next(stream.call).update.prefix.target, 'box')

    def test_poll(self):
        stream = self.open(listed('/interfaces/interface[name=a]/mtu', mode='POLL'))
        self.assertEqual(stream.until_sync(), [('/interfaces/interface[name=a]/mtu', 100)])
        self.set(('/interfaces/interface[name=a]/mtu', 101))
        for _ in range(2):
            stream.send(POLL)
            self.assertEqual(stream.until_sync(), [('/interfaces/interface[name=a]/mtu', 101)])
        stream.half_close()
        self.assertEqual(stream.status(), 'OK')

    def test_on_change(self):
        stream = self.open(listed('/interfaces/interface/mtu', ('/interfaces/interface[name=a]', 'TARGET_DEFINED', {}),
                                  '/routing/.../route[protocol=bgp]'))
        stream.until_sync()
        self.set(('/interfaces/interface[name=b]/mtu', 200), ('/interfaces/interface[name=b]/description', 'x'))
        self.set(('/interfaces/interface[name=b]/mtu', 201))
        self.assertEqual(stream.next(), ([('/interfaces/interface[name=b]/mtu', 201)], []), 'equal values are no change')
        self.set(delete=['/interfaces/interface[name=b]/mtu', '/interfaces/interface[name=a]'])
        found = [stream.next() for _ in range(2)]
        self.assertIn(([('/interfaces/interface[name=b]/mtu', 1500)], []), found, 'the default is in use now')
        self.assertIn(([], ['/interfaces/interface[name=a]']), found)
        where = '/routing/instance[name=r]/route[prefix=10.0.0.0/8][protocol=%s][tag=7]'
        self.set((where % 'static' + '/metric', 1), (where % 'bgp' + '/metric', 2))
        found = dict(update for _ in range(5) for update in stream.next()[0])
        base = where % 'example-network:bgp'
        self.assertEqual(found, {base + '/prefix': '10.0.0.0/8', base + '/protocol': 'example-network:bgp',
                                 base + '/tag': 7, base + '/metric': 2, base + '/state/changes': '1'})
        self.set(delete=['/routing/instance[name=r]'])
        self.assertEqual(stream.next(), ([], ['/routing/instance[name=r]']), 'an ancestor that goes')
        stream.half_close()
        self.set(('/interfaces/interface[name=b]/mtu', 300))
        self.assertEqual(stream.next(), ([('/interfaces/interface[name=b]/mtu', 300)], []), 'a client may say no more')

    def test_updates_only(self):
        stream = self.open(listed('/interfaces', updates_only=True))
        self.assertEqual(stream.until_sync(), [])
        self.set(('/interfaces/interface[name=a]/mtu', 101))
        self.assertEqual(stream.next()[0], [('/interfaces/interface[name=a]/mtu', 101)])

    def test_models(self):
        stream = self.open(listed('/system', use_models=[gnmi.ModelData(name='example-system')]))
        stream.until_sync()
        self.set(('/system/hostname', 'h'), ('/system/contact', 'c'))
        self.assertEqual(stream.next()[0], [('/system/contact', 'c')])

    def test_samples(self):
        where = '/interfaces/interface/mtu'
        stream = self.open(listed((where, 'SAMPLE', {})))
        first = sorted(stream.until_sync())
        self.assertEqual(first, [('/interfaces/interface[name=a]/mtu', 100), ('/interfaces/interface[name=b]/mtu', 200)])
        for _ in range(3):
            self.assertEqual(sorted(stream.next()[0]), first, 'again, changed or not')
        self.set(delete=['/interfaces/interface[name=a]'])
        while (message := stream.next())[0]:
            pass
        self.assertEqual(message, ([], ['/interfaces/interface[name=a]']))
        self.assertEqual(stream.next(), ([('/interfaces/interface[name=b]/mtu', 200)], []))

    def test_two_samples_on_one_stream(self):
        """When both are due at once, neither waits for ever behind the other."""
        wheres = ['/interfaces/interface[name=%s]/mtu' % name for name in 'ab']
        stream = self.open(listed(*[(where, 'SAMPLE', {}) for where in wheres]))
        stream.until_sync()
        found = [update[0] for _ in range(6) for update in stream.next()[0]]
        self.assertEqual([found.count(where) for where in wheres], [3, 3])

    def test_samples_of_what_changed(self):
        where = '/interfaces/interface[name=a]/mtu'
        stream = self.open(listed((where, 'SAMPLE', {'suppress_redundant': True, 'sample_interval': SECOND // 5})))
        self.assertEqual(stream.until_sync(), [(where, 100)])
        for value in range(101, 106):
            self.set((where, value))
        time.sleep(0.5)
        self.set((where, 106))
        # Of five changes the one that was there to sample, and nothing more until the next change.
        self.assertEqual(stream.next()[0], [(where, 105)])
        self.assertEqual(stream.next()[0], [(where, 106)])

    def test_heartbeats(self):
        where = '/interfaces/interface[name=a]/mtu'
        for mode, fields in (('ON_CHANGE', {}), ('SAMPLE', {'suppress_redundant': True, 'sample_interval': SECOND // 10})):
            stream = self.open(listed((where, mode, {'heartbeat_interval': SECOND // 5, **fields})))
            stream.until_sync()
            self.assertEqual([stream.next()[0] for _ in range(2)], [[(where, 100)]] * 2, mode)

    def test_what_is_refused(self):
        where = '/interfaces/interface[name=a]/mtu'
        for requests, code, word in [
                ([POLL], 'INVALID_ARGUMENT', 'first'),
                ([gnmi.SubscribeRequest()], 'INVALID_ARGUMENT', 'first'),
                ([listed(where), listed(where)], 'INVALID_ARGUMENT', 'second list'),
                ([listed(where), POLL], 'INVALID_ARGUMENT', 'POLL'),
                ([listed()], 'INVALID_ARGUMENT', 'at least one'),
                ([listed('/interfaces/nothing')], 'UNIMPLEMENTED', 'unknown element'),
                ([listed('/interfaces/interface[id=a]')], 'INVALID_ARGUMENT', "'id'"),
                ([listed(where, encoding='ASCII')], 'UNIMPLEMENTED', 'encoding'),
                ([listed(where, use_models=[gnmi.ModelData(name='x')])], 'INVALID_ARGUMENT', "'x'"),
                ([listed((where, 'SAMPLE', {'sample_interval': 1}))], 'INVALID_ARGUMENT', '100 ms'),
                ([listed((where, 'ON_CHANGE', {'heartbeat_interval': 1}))], 'INVALID_ARGUMENT', '100 ms'),
                ([listed((where, 9, {}))], 'INVALID_ARGUMENT', 'mode'),
                ([listed(where, mode=7)], 'INVALID_ARGUMENT', 'mode'),
                ([listed(*[where] * 257)], 'RESOURCE_EXHAUSTED', '257 subscriptions'),
                ([gnmi.SubscribeRequest(extension=[gnmi.Extension()])], 'UNIMPLEMENTED', 'extensions')]:
            with self.subTest(word):
                status = self.open(*requests).status()
                self.assertEqual(status[0], code, status)
                self.assertIn(word, status[1])
        for interval in 2**63, 2**64 - 1:
            self.open(listed((where, 'SAMPLE', {'sample_interval': interval}))).until_sync()
        stream = self.open()
        stream.half_close()
        self.assertEqual(stream.status(), 'OK')

    def test_a_stream_and_the_tree_agree_in_the_end(self):
        streams = [self.open(listed('/interfaces')) for _ in range(8)]
        def write(worker):
            for i in range(100):
                name = f'/interfaces/interface[name=w{worker}-{i % 7}]'
                if i % 5 == 4:
                    self.set(delete=[name])
                else:
                    self.set((name + '/mtu', 1000 + i), (name + '/description', str(i)))
        workers = [threading.Thread(target=write, args=[n]) for n in range(4)]
        for worker in workers:
            worker.start()
        for worker in workers:
            worker.join()
        self.set(('/interfaces/interface[name=last]/mtu', 777))
        now = self.target.stub.Get(gnmi.GetRequest(path=[path('/interfaces')], encoding='PROTO')).notification[0]
        for stream in streams:
            while stream.held.get('/interfaces/interface[name=last]/state/changes') is None:
                stream.next()
            stream.held['/interfaces/interface[name=last]/state/changes'] = 1
            self.assertEqual({p: int(v) if 'changes' in p else v for p, v in stream.held.items()},
                             {text(u.path): val(u.val) for u in now.update})


if __name__ == '__main__':
    unittest.main()
