"""What the target does, in figures: show.py [spellings] [streams] [entries] [load] [keys] [abuse]; all of them unless some are named."""

import asyncio
import collections
import ipaddress
import itertools
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import threading
import time

import grpc

from harness import Target, gnmi, gnmi_pb2_grpc, ietf, path, text, update, val


def spelled(chance, prefix, protocol, tag):
    """A key of a route in one of many spellings, and a path to its metric that is parted anywhere."""
    network = ipaddress.ip_network(prefix)
    host = network[chance.randrange(min(2**16, network.num_addresses))]
    tag = chance.choice((str(tag), f'+{tag}', f'0{tag}', f'+00{tag}', f' {tag} '))
    keys = [('prefix', chance.choice((prefix, f'{host}/{network.prefixlen}'))), ('tag', tag),
            ('protocol', chance.choice((protocol, f'example-network:{protocol}')))]
    chance.shuffle(keys)
    route = gnmi.PathElem(name=chance.choice(('route', 'example-network:route')))
    for key, value in keys:
        route.key[key] = value
    elems = [gnmi.PathElem(name=chance.choice(('routing', 'example-network:routing'))),
             gnmi.PathElem(name='instance', key={'name': 'r'}), route, gnmi.PathElem(name='metric')]
    at = chance.randrange(len(elems))
    if chance.random() < 0.1:
        # An old sender: each element is one text.
        def old(elem):
            return elem.name + ''.join(f'[{k}={v}]' for k, v in elem.key.items())
        return gnmi.Path(element=map(old, elems[:at])), gnmi.Path(element=map(old, elems[at:]))
    return gnmi.Path(elem=elems[:at]), gnmi.Path(elem=elems[at:])


def show_spellings():
    """10^4 Sets and 10^4 Gets whose keys are in no canonical spelling: what is expected, and what was got."""
    chance = random.Random(1)
    routes = [(f'10.{i % 200}.{i // 200}.0/24', chance.choice(('bgp', 'static')), i) for i in range(1000)]
    expected, wrong = {}, 0
    with Target() as target:
        for i in range(10_000):
            route = chance.choice(routes)
            before, after = spelled(chance, *route)
            target.stub.Set(gnmi.SetRequest(prefix=before, update=[gnmi.Update(path=after, val=ietf(i))]))
            expected[route] = i
        for i in range(10_000):
            route = chance.choice(list(expected))
            before, after = spelled(chance, *route)
            answer = target.stub.Get(gnmi.GetRequest(prefix=before, path=[after], encoding='PROTO'))
            wrong += [val(u.val) for u in answer.notification[0].update] != [expected[route]]
        answer = target.stub.Get(gnmi.GetRequest(path=[path('/routing/instance/route/metric')], encoding='PROTO'))
        got = collections.Counter(text(u.path) for u in answer.notification[0].update)
        canonical = {'/routing/instance[name=r]/route' + f'[prefix={p}][protocol=example-network:{q}][tag={t}]/metric'
                     for p, q, t in expected}
        lost, doubled = len(canonical - set(got)), sum(got.values()) - len(canonical & set(got))
        print(f'spellings: 10000 Sets on {len(expected)} entries, 10000 Gets; wrong answers {wrong}, entries lost {lost}, '
              f'doubled or foreign {doubled}')
        if 'REFLECT' in os.environ:
            target.channel.close()
            subprocess.run([os.environ['REFLECT'], f'127.0.0.1:{target.port}', '10000'], check=True)
        assert wrong == lost == doubled == 0


# A matcher that is nothing but the rules: a subscription and a change are lists of (name, keys).

def covers(wanted, changed):
    """Whether one of two is an ancestor of the other or itself, and no key contradicts."""
    for (name, keys), (at, exact) in zip(wanted, changed):
        if name != at or any(exact.get(k, v) != v for k, v in keys.items()):
            return False
    return True


def expanded(pattern):
    """The paths without wildcards that one with them means in this schema."""
    names = [name for name, _ in pattern]
    if '...' not in names and '*' not in names:
        return [pattern]
    nodes = [['routing', 'instance', 'route', leaf] for leaf in ('prefix', 'protocol', 'tag', 'metric')]
    nodes += [['routing', 'instance', 'route', 'state', 'changes'], ['interfaces', 'interface', 'mtu']]
    found = []
    for node in nodes:
        def match(i, j, taken):
            if i == len(pattern):
                if j == len(node):
                    found.append(taken)
            elif names[i] == '...':
                for k in range(j, len(node) + 1):
                    match(i + 1, k, taken + [(n, {}) for n in node[j:k]])
            elif j < len(node) and names[i] in ('*', node[j]):
                match(i + 1, j + 1, taken + [(node[j], pattern[i][1])])
        match(0, 0, [])
    return found


def show_streams(streams=1000, changes=100_000, sets=2000):
    """So many streams with filters and wildcards, so many changes: each stream gets exactly its own."""
    chance = random.Random(2)
    protocols, instances = ('example-network:bgp', 'example-network:static'), [f'r{i}' for i in range(10)]

    def pattern():
        inst = {'name': chance.choice(instances)} if chance.random() < 0.7 else {}
        tag, protocol = str(chance.randrange(200)), chance.choice(protocols)
        keys = chance.choice(({'tag': tag}, {'tag': tag, 'protocol': protocol}, {'prefix': f'10.{chance.randrange(50)}.0.0/16'},
                              {'prefix': f'10.{chance.randrange(50)}.0.0/16', 'tag': tag, 'protocol': protocol}))
        routing, middle, route = [('routing', {})], [('instance', inst)], [('route', keys)]
        return chance.choice((routing + middle + route, routing + middle + route + [('metric', {})],
                              [('...', {}), *route, ('metric', {})], routing + [('*', {}), *route, ('metric', {})],
                              routing + middle + route + [('state', {}), ('changes', {})]))

    def as_path(elements):
        return gnmi.Path(elem=[gnmi.PathElem(name=n, key=k) for n, k in elements])

    def key_of(changed):
        return tuple((n, *sorted(k.items())) for n, k in changed)

    wanted = [pattern() for _ in range(streams)]
    means = [expanded(p) for p in wanted]
    expected = [collections.defaultdict(list) for _ in wanted]
    counts, entries = collections.Counter(), {}
    total = 0

    # The subscriptions by tag or prefix, only so that Python ends today; each candidate is compared in full.
    buckets = collections.defaultdict(list)
    for i, one in enumerate(means):
        for elements in one:
            keys = next((k for n, k in elements if n == 'route'), {})
            place = ('tag', keys['tag']) if 'tag' in keys else ('prefix', keys['prefix']) if 'prefix' in keys else None
            buckets[place].append((i, elements))

    def happened(changed, value):
        nonlocal total
        total += 1
        keys = next((k for n, k in changed if n == 'route'), {})
        hit = {i for place in (None, *keys.items()) for i, elements in buckets[place]
               if (value is None or len(elements) <= len(changed)) and covers(elements, changed)}
        for i in hit:
            expected[i][key_of(changed)].append(value)
        return len(hit)

    requests, matches = [], 0
    while total < changes:
        request, touched = gnmi.SetRequest(), {}
        for _ in range(changes // sets // 2):
            at = (chance.choice(instances), f'10.{chance.randrange(50)}.0.0/16', chance.choice(protocols),
                  str(chance.randrange(200)))
            touched[at] = chance.randrange(2**32)
        for at, metric in touched.items():
            elements = [('routing', {}), ('instance', {'name': at[0]}),
                        ('route', {'prefix': at[1], 'protocol': at[2], 'tag': at[3]})]
            if at in entries and chance.random() < 0.05:
                request.delete.append(as_path(elements))
                matches += happened(elements, None)
                del entries[at], counts[at]
                continue
            where = as_path(elements + [('metric', {})])
            request.update.append(gnmi.Update(path=where, val=ietf(metric)))
            if at not in entries:
                for leaf, value in (('prefix', at[1]), ('protocol', at[2]), ('tag', int(at[3]))):
                    matches += happened(elements + [(leaf, {})], value)
            if entries.get(at) != metric:
                entries[at] = metric
                matches += happened(elements + [('metric', {})], metric)
                counts[at] += 1
                matches += happened(elements + [('state', {}), ('changes', {})], counts[at])
        requests.append(request)
    # The names of the instances themselves.
    for name in instances:
        happened([('routing', {}), ('instance', {'name': name}), ('name', {})], name)

    def got(notification, into):
        for u in notification.update:
            into[key_of([(e.name, dict(e.key)) for e in u.path.elem])].append(val(u.val))
        for d in notification.delete:
            into[key_of([(e.name, dict(e.key)) for e in d.elem])].append(None)

    async def run(port):
        channels = [grpc.aio.insecure_channel(f'127.0.0.1:{port}', options=[('channel', i)]) for i in range(8)]
        held = [collections.defaultdict(list) for _ in wanted]
        synced = asyncio.Semaphore(0)

        async def one(i, call):
            await call.write(gnmi.SubscribeRequest(subscribe=gnmi.SubscriptionList(
                subscription=[gnmi.Subscription(path=as_path(wanted[i])),
                              gnmi.Subscription(path=path('/system/hostname'))], encoding='PROTO')))
            while (response := await call.read()).WhichOneof('response') != 'sync_response':
                pass
            synced.release()
            while True:
                notification = (await call.read()).update
                if notification.update and notification.update[0].path.elem[0].name == 'system':
                    call.cancel()
                    return
                got(notification, held[i])

        methods = [c.stream_stream('/gnmi.gNMI/Subscribe', gnmi.SubscribeRequest.SerializeToString,
                                   gnmi.SubscribeResponse.FromString) for c in channels]
        tasks = [asyncio.create_task(one(i, methods[i % 8]())) for i in range(streams)]
        for _ in tasks:
            await synced.acquire()
        began = time.time()
        set_ = channels[0].unary_unary('/gnmi.gNMI/Set', gnmi.SetRequest.SerializeToString, gnmi.SetResponse.FromString)
        took = []
        for request in requests:
            start = time.time()
            await set_(request)
            took.append(time.time() - start)
        await set_(gnmi.SetRequest(update=[update('/system/hostname', 'end')]))
        await asyncio.gather(*tasks)
        return held, time.time() - began, took

    with Target('--max-queue', '1000000') as target:
        held, seconds, took = asyncio.run(run(target.port))
    wrong = sum(dict(h) != dict(e) for h, e in zip(held, expected))
    messages = sum(len(v) for h in held for v in h.values())
    print(f'streams: {streams} streams, {len(requests)} Sets with {total} changes in {seconds:.0f} s; {messages} updates and '
          f'deletes got, {sum(len(v) for e in expected for v in e.values())} expected; streams with others than their own: {wrong}')
    assert wrong == 0


def show_entries(count=1_000_000):
    """So many entries in one list: memory, and what a Get and a Set of one of them take. No more than one entry may be
    looked at for a request, but for those of exact keys: that is enough for these."""
    def base(i):
        return f'/routing/instance[name=r]/route[prefix=10.{i >> 16 & 255}.{i >> 8 & 255}.0/24][protocol=bgp][tag={i}]/metric'

    def median(call):
        took = []
        for i in range(2000):
            began = time.perf_counter()
            call(i * 7 % 1000)
            took.append(time.perf_counter() - began)
        return sorted(took)[len(took) // 2] * 1e6

    with Target('--max-entries', '1') as target:
        empty, stub, done = target.resident(), target.stub, 0
        for size in sorted({1000, min(100_000, count), count}):
            while done < size:
                many = range(done, done + 1000)
                stub.Set(gnmi.SetRequest(update=[gnmi.Update(path=path(base(i)), val=gnmi.TypedValue(uint_val=i)) for i in many]))
                done += 1000
            get = median(lambda i: stub.Get(gnmi.GetRequest(path=[path(base(i))], encoding='PROTO')))
            set_ = median(lambda i: stub.Set(gnmi.SetRequest(update=[gnmi.Update(path=path(base(i)), val=ietf(i + done))])))
            print(f'entries: {size}: {(target.resident() - empty) * 1024 / size:.0f} bytes an entry of 5 leaves; median of a '
                  f'Get of one {get:.0f} us, of a Set of one {set_:.0f} us, this client included', flush=True)


def joined_modules(folder):
    """The modules of the example, but that a route has one key, a string."""
    for module in pathlib.Path(os.environ['TARGET_YANG']).glob('*.yang'):
        yang = module.read_text()
        if module.stem == 'example-network':
            assert 'key "prefix protocol tag";' in yang
            yang = yang.replace('key "prefix protocol tag";', 'key "raw"; leaf raw { type string; }')
        pathlib.Path(folder, module.name).write_text(yang)


def show_load():
    """Gets and Sets a second with 1, 16 and 64 clients, and how long they take."""
    with Target('--max-queue', '1000000') as target:
        subprocess.run([os.environ['LOAD'], f'127.0.0.1:{target.port}'], check=True)


def show_keys():
    """What a Set of 500 updates takes, and what it takes where keys are texts."""
    with tempfile.TemporaryDirectory() as folder:
        joined_modules(folder)
        with Target() as target, Target(program=os.environ['JOINED'], yang=folder) as joined:
            subprocess.run([os.environ['LOAD'], f'127.0.0.1:{target.port}', str(target.process.pid),
                            f'127.0.0.1:{joined.port}', str(joined.process.pid)], check=True)


def show_abuse():
    """What clients get that ask for too much, and how long another client waits meanwhile for the answer to a Get."""
    def get(stub):
        began = time.perf_counter()
        stub.Get(gnmi.GetRequest(path=[path('/system/hostname')]))
        return (time.perf_counter() - began) * 1e3

    def code(call):
        try:
            call()
            return 'OK'
        except grpc.RpcError as error:
            return error.code().name

    def streams(stub, count=10_000):
        request = gnmi.SubscribeRequest(subscribe=gnmi.SubscriptionList(subscription=[gnmi.Subscription(path=path('/'))]))
        calls = [stub.Subscribe(iter([request])) for _ in range(count)]
        codes = collections.Counter(code(lambda: next(call)) for call in calls)
        for call in calls:
            call.cancel()
        return dict(codes)

    keys = gnmi.Path(elem=[gnmi.PathElem(name='interfaces', key={str(i): '' for i in range(100_000)})])
    big = gnmi.SetRequest(update=[update('/system/contact', 'x' * (64 << 20))])
    many = gnmi.SetRequest(update=[update(f'/interfaces/interface[name=e{i}]/mtu', 1000) for i in range(499)] +
                           [update('/interfaces/interface[name=x]/mtu', 1)])
    with Target() as target:
        other = gnmi_pb2_grpc.gNMIStub(grpc.insecure_channel(f'127.0.0.1:{target.port}', options=[('other', 1)]))
        other.Set(gnmi.SetRequest(update=[update('/system/hostname', 'h')]))
        stub = target.stub
        for what, call in (('10^5 keys in a path', lambda: code(lambda: stub.Get(gnmi.GetRequest(path=[keys])))),
                           ('64 MiB in a message', lambda: code(lambda: stub.Set(big))),
                           ('a Set whose 500th update is wrong', lambda: code(lambda: stub.Set(many))),
                           ('10^5 paths of all', lambda: code(lambda: stub.Get(gnmi.GetRequest(path=[path('/...')] * 10**5)))),
                           ('10^4 streams', lambda: streams(stub))):
            waited, done = [], threading.Event()

            def meanwhile():
                while not done.is_set():
                    waited.append(get(other))
            thread = threading.Thread(target=meanwhile)
            thread.start()
            began = time.perf_counter()
            answer = call()
            took = time.perf_counter() - began
            done.set()
            thread.join()
            print(f'abuse: {what}: {answer} after {took * 1e3:.0f} ms; {len(waited)} Gets of another client meanwhile, the '
                  f'slowest {max(waited):.0f} ms', flush=True)


if __name__ == '__main__':
    shows = {name[5:]: show for name, show in list(globals().items()) if name.startswith('show_')}
    for name in sys.argv[1:] or shows:
        shows[name]()
