"""Requests that real ones were changed into, byte by byte and part by part: each gets an answer, and the right ones still do."""

import collections
import random

import grpc

from harness import gnmi, ietf, path, update

V = gnmi.TypedValue
WHERE = '/interfaces/interface[name=a]'

GETS = [gnmi.GetRequest(path=[path(p)], encoding=e, type=t)
        for p in ('/', WHERE, '/interfaces/interface/mtu', '/.../state', '/routing/*/route[protocol=bgp]',
                  '/routing/instance[name=r]/route[prefix=10.0.0.0/8][protocol=bgp][tag=7]')
        for e in ('JSON', 'PROTO', 'JSON_IETF') for t in ('ALL', 'STATE')]
GETS += [gnmi.GetRequest(prefix=path('/interfaces', target='t'), path=[path('/interface[name=a]'), path('/interface')]),
         gnmi.GetRequest(path=[gnmi.Path(element=['interfaces', 'interface[name=a]', 'mtu'])]),
         gnmi.GetRequest(path=[path('/system')], use_models=[gnmi.ModelData(name='example-system')])]
SETS = [gnmi.SetRequest(update=[update(WHERE + '/' + leaf, value)])
        for leaf, value in [('mtu', 100), ('mtu', V(uint_val=100)), ('enabled', True), ('load', V(double_val=1.5)),
                            ('secret', V(bytes_val=b'abc')), ('speed', '12'), ('passive', [None]), ('offset', V(int_val=-1)),
                            ('vlan', V(leaflist_val=gnmi.ScalarArray(element=[V(uint_val=7), V(uint_val=5)]))),
                            ('type', 'example-network:ethernet'), ('description', 'text')]]
SETS += [gnmi.SetRequest(replace=[update('/interfaces', {'interface': [{'name': n, 'mtu': 100} for n in 'abc']})]),
         gnmi.SetRequest(update=[update('/', {'example-network:routing': {'instance': [{'name': 'r', 'route': [
             {'prefix': '10.0.0.0/8', 'protocol': 'example-network:bgp', 'tag': 7, 'next-hop': ['192.0.2.1']}]}]}})]),
         gnmi.SetRequest(update=[update('/routing/instance[name=r]/neighbour[peer=7]/weight', 1),
                                 update('/routing/instance[name=r]/neighbour[peer=any]/weight', 1)]),
         gnmi.SetRequest(delete=[path('/interfaces/interface[name=a]'), path('/routing/...'), path('/system/login')])]
SUBSCRIBES = [gnmi.SubscribeRequest(subscribe=gnmi.SubscriptionList(
    subscription=[gnmi.Subscription(path=path(p), mode=m, sample_interval=10**9)], mode=k))
    for p in ('/', '/interfaces/interface[name=a]', '/routing/.../route[tag=7]')
    for m in ('ON_CHANGE', 'SAMPLE') for k in ('STREAM', 'ONCE', 'POLL')] + [gnmi.SubscribeRequest(poll=gnmi.Poll())]

CALLS = [('Get', GETS), ('Set', SETS), ('Subscribe', SUBSCRIBES)]
NEVER = {grpc.StatusCode.UNKNOWN, grpc.StatusCode.UNAVAILABLE, grpc.StatusCode.DEADLINE_EXCEEDED,
         grpc.StatusCode.DATA_LOSS, grpc.StatusCode.ABORTED}


def mutate(data, other, chance):
    """A few bytes changed, cut out, doubled, or taken from another request."""
    data = bytearray(data)
    for _ in range(chance.choice((1, 1, 1, 2, 4))):
        at = chance.randrange(len(data) + 1)
        end = min(len(data), at + chance.choice((1, 1, 2, 4, 16)))
        kind = chance.randrange(6)
        if kind == 0 and at < len(data):
            data[at] = chance.randrange(256)
        elif kind == 1 and at < len(data):
            data[at] ^= 1 << chance.randrange(8)
        elif kind == 2:
            del data[at:end]
        elif kind == 3:
            data[at:at] = data[at:end] * chance.choice((1, 2, 50))
        elif kind == 4:
            start = chance.randrange(len(other) + 1)
            data[at:end] = other[start:start + chance.choice((1, 4, 20, 100))]
        else:
            data[at:end] = chance.choice((b'*', b'...', b'\0', b'\xff', b'[', b']', b'"', b'{}', b'[]', b'null', b'-1',
                                          b'99999999999999999999', b'/', b'\\', b'name', b'example-network:', b'\xc3\x28'))
    return bytes(data)


WORDS = ['', '*', '...', 'name', 'interfaces', 'interface', 'mtu', 'state', 'route', 'example-network:bgp', 'bgp', '+07', '7',
         '10.0.0.0/8', '::/0', 'a]b\\', '\0', 'é', 'x' * 5000, '-1', '99999999999999999999', 'openconfig', 'rfc7951', '{}',
         '[', '"a"', 'null', '[null]', '[[]]', '{"name": "a"}', '[{"name": "a"}, {"name": "a"}]', '1e400', '-0.0']


def parts(message, found):
    """All (message, field) below."""
    for field, value in message.ListFields():
        found.append((message, field))
        if field.message_type and not field.message_type.GetOptions().map_entry:
            for below in value if field.label == field.LABEL_REPEATED else [value]:
                parts(below, found)
    return found


def rearrange(request, chance):
    """A request whose parts are there, but others: words changed, keys added, parts doubled or gone."""
    made = type(request)()
    made.CopyFrom(request)
    for _ in range(chance.choice((1, 1, 2, 3))):
        fields = parts(made, [])
        if not fields:
            break
        message, field = chance.choice(fields)
        value = getattr(message, field.name)
        word = chance.choice(WORDS)
        if chance.random() < 0.1:
            message.ClearField(field.name)
        elif field.message_type and field.message_type.GetOptions().map_entry:
            value[chance.choice(list(value) + WORDS)] = word
        elif field.label == field.LABEL_REPEATED and field.message_type:
            value.add().CopyFrom(chance.choice(value))
        elif field.label == field.LABEL_REPEATED or field.message_type:
            continue
        elif field.cpp_type == field.CPPTYPE_STRING:
            setattr(message, field.name, word.encode() if field.type == field.TYPE_BYTES else word)
        elif field.cpp_type == field.CPPTYPE_BOOL:
            setattr(message, field.name, not value)
        elif field.cpp_type == field.CPPTYPE_DOUBLE:
            setattr(message, field.name, chance.choice((float('nan'), float('inf'), 1e308, -0.0, 1.005)))
        else:
            setattr(message, field.name, chance.choice((0, 1, 2, 9, 100, 2**31 - 1)))
    return made


class Hostile:
    """Keeps count of what came back."""

    patience = 60

    def __init__(self, target, seed):
        self.target = target
        self.chance = random.Random(seed)
        self.answers = collections.Counter()
        self.calls = {name: getattr(target.channel, kind)('/gnmi.gNMI/' + name, lambda x: x, lambda x: x)
                      for name, kind in (('Get', 'unary_unary'), ('Set', 'unary_unary'), ('Subscribe', 'stream_stream'))}

    def request(self):
        # A stream costs many times as much as the others.
        name, requests = CALLS[self.chance.choice((0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2))]
        one, other = self.chance.choice(requests), self.chance.choice(requests)
        if self.chance.random() < 0.7:
            return name, rearrange(one, self.chance).SerializeToString()
        return name, mutate(one.SerializeToString(), other.SerializeToString(), self.chance)

    def batch(self, count):
        """So many requests, and then the right answer to a right one."""
        waiting = []
        for _ in range(count):
            name, data = self.request()
            if name == 'Subscribe':
                self.stream(data)
            else:
                waiting.append((name, data, self.calls[name].future(data, timeout=self.patience)))
        for name, data, future in waiting:
            error = future.exception()
            self.note(name, data, grpc.StatusCode.OK if error is None else error.code())
        mark = self.chance.randrange(68, 9217)
        where = '/interfaces/interface[name=mark]/mtu'
        self.target.stub.Set(gnmi.SetRequest(update=[update(where, ietf(mark))]), timeout=self.patience)
        answer = self.target.stub.Get(gnmi.GetRequest(path=[path(where)], encoding='PROTO'), timeout=self.patience)
        assert [u.val.uint_val for u in answer.notification[0].update] == [mark], answer

    def stream(self, data):
        """The first thing that comes back; nothing comes where the list is updated only."""
        call = self.calls['Subscribe'](iter([data]), timeout=self.patience)
        try:
            next(call)
            self.note('Subscribe', data, grpc.StatusCode.OK)
        except StopIteration:
            self.note('Subscribe', data, grpc.StatusCode.OK)
        except grpc.RpcError as error:
            self.note('Subscribe', data, error.code())
        call.cancel()

    def note(self, name, data, code):
        self.answers[name, code.name] += 1
        assert code not in NEVER, (name, code, data)
