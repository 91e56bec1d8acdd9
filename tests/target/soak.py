"""soak.py REQUESTS MINUTES: so many requests that real ones were changed into, then clients that get, set and subscribe at
once for so long. Prints what came back; fails where the target crashed, leaked, or a sanitizer found something."""

import os
import random
import re
import sys
import threading
import time

import grpc

from harness import Target, gnmi, gnmi_pb2_grpc, path, update
from hostile import Hostile
from subscribe_test import Stream, listed

WHERES = ['/', '/interfaces/interface', '/interfaces/interface[name=i3]', '/.../mtu', '/routing/instance/route[tag=1]',
          '/routing/instance[name=r]/route[protocol=bgp]/metric', '/interfaces/interface/state']


def one_client(target, seed, end, counts):
    """Sets, Gets and streams in turn, some of them cancelled or half closed."""
    chance = random.Random(seed)
    channel = grpc.insecure_channel(f'127.0.0.1:{target.port}', options=[('client', seed)])
    stub = gnmi_pb2_grpc.gNMIStub(channel)
    while time.time() < end:
        kind = chance.randrange(10)
        name = f'/interfaces/interface[name=i{chance.randrange(50)}]'
        route = f'/routing/instance[name=r]/route[prefix=10.{chance.randrange(9)}.0.0/16][protocol=bgp][tag=1]'
        if kind < 4:
            stub.Set(gnmi.SetRequest(update=[update(name + '/mtu', chance.randrange(100, 9000)), update(route + '/metric', 1)]))
        elif kind < 5:
            stub.Set(gnmi.SetRequest(delete=[path(chance.choice((name, route, '/interfaces/interface/mtu')))]))
        elif kind < 8:
            try:
                stub.Get(gnmi.GetRequest(path=[path(chance.choice(WHERES))], encoding='PROTO'))
            except grpc.RpcError as error:
                assert error.code() == grpc.StatusCode.NOT_FOUND, error
        else:
            mode = chance.choice(('ON_CHANGE', 'SAMPLE'))
            stream = Stream(stub, listed((chance.choice(WHERES), mode, {'suppress_redundant': chance.random() < 0.5}),
                                         mode=chance.choice(('STREAM', 'STREAM', 'ONCE', 'POLL'))))
            if chance.random() < 0.9:
                while next(stream.call).WhichOneof('response') != 'sync_response':
                    pass
            if chance.random() < 0.5:
                stream.half_close()
            stream.cancel()
            stream.half_close()
        counts[seed] += 1
    channel.close()


def races(log):
    """The reports of the thread sanitizer that are about the target.

    gRPC hands objects from thread to thread in a library that is not instrumented, so the sanitizer does not see that one
    thread is done before the other begins. But code of gRPC's headers is compiled with the target. Left out are reports
    where that code made one of the two accesses, and those of a stream that gRPC hands over when it is made or done.
    """
    helpers = re.compile(r'/usr/include/(c\+\+|nlohmann|absl)|operator (new|delete)|#\d+ (mem\w+|free|malloc) |<null>')
    others = re.compile(r'/usr/include/(grpc|google)|gnmi\.(grpc\.)?pb\.')
    handed = re.compile(r'Target::Stream::(~?Stream\(|OnDone)')
    found = []
    for report in log.split('WARNING: ThreadSanitizer')[1:]:
        accesses = re.findall(r'^  (?:\w+ )*(?:write|read) of size[^\n]*\n((?:    #[^\n]*\n)*)', report, re.IGNORECASE | re.MULTILINE)
        own = [frame for stack in accesses[:2]
               for frame in [next((f for f in stack.splitlines() if not helpers.search(f)), None)]]
        if any(frame is None or others.search(frame) for frame in own) or any(map(handed.search, accesses)):
            continue
        found.append(report)
    return found


def main():
    requests, minutes, found = int(sys.argv[1]), float(sys.argv[2]), []
    with Target('--max-queue', '1000') as target:
        began = time.time()
        hostile = Hostile(target, random.randrange(2**32))
        sent = 0
        while sent < requests:
            hostile.batch(1000)
            sent += 1000
        print(f'{sent} requests that are almost right in {time.time() - began:.0f} s: {dict(hostile.answers)}', flush=True)
        target.stub.Set(gnmi.SetRequest(delete=[path('/')]))

        before, began, counts = target.resident(), time.time(), [0] * 16
        clients = [threading.Thread(target=one_client, args=[target, i, began + minutes * 60, counts]) for i in range(16)]
        for client in clients:
            client.start()
        for client in clients:
            client.join()
        assert all(counts), counts
        print(f'{sum(counts)} calls of 16 clients in {time.time() - began:.0f} s; resident {before} KiB before, '
              f'{target.resident()} KiB after', flush=True)
        code, log = target.end()
        if 'TSAN_OPTIONS' in os.environ:
            found = races(log)
            print(f'{log.count("WARNING: ThreadSanitizer")} reports, of the target itself {len(found)}')
            log = ''.join(found)
        assert code == 0 and 'Sanitizer' not in log and not found, log


if __name__ == '__main__':
    main()
