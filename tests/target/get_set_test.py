"""Capabilities, Get and Set: what is answered, and that nothing is lost, doubled or half done."""

import pathlib
import tempfile
import unittest

import grpc

from harness import Target, gnmi, ietf, path, text, update, val

V = gnmi.TypedValue


class GetSet(unittest.TestCase):
    def setUp(self):
        self.target = Target()
        self.addCleanup(self.target.__exit__)

    def set(self, *updates, replace=(), delete=(), **others):
        return self.target.stub.Set(gnmi.SetRequest(update=[update(*u) for u in updates],
                                                    replace=[update(*u) for u in replace],
                                                    delete=[path(d) for d in delete], **others))

    def get(self, *paths, encoding='JSON_IETF', **others):
        """A dictionary from path to value for each path asked for; of one path that alone."""
        answer = self.target.stub.Get(gnmi.GetRequest(path=[path(p) for p in paths], encoding=encoding, **others))
        self.assertEqual(len(answer.notification), len(paths))
        found = [{text(u.path): val(u.val) for u in n.update} for n in answer.notification]
        for notification, one in zip(answer.notification, found):
            self.assertEqual(len(notification.update), len(one), 'a path twice')
        return found[0] if len(paths) == 1 else found

    def refused(self, call, code, *words):
        with self.assertRaises(grpc.RpcError) as caught:
            call()
        self.assertEqual(caught.exception.code().name, code, caught.exception.details())
        for word in words:
            self.assertIn(word, caught.exception.details())

    def test_capabilities(self):
        answer = self.target.stub.Capabilities(gnmi.CapabilityRequest())
        self.assertEqual([(m.name, m.organization, m.version) for m in answer.supported_models],
                         [(n, 'Example', '2024-01-01') for n in ('example-network', 'example-system')])
        self.assertEqual(list(answer.supported_encodings), [gnmi.JSON, gnmi.JSON_IETF, gnmi.PROTO])
        self.assertEqual(answer.gNMI_version, '0.10.0')

    def test_one_entry_however_its_key_is_written(self):
        base = '/routing/instance[name=red]'
        self.set((base + '/route[prefix=10.1.2.3/8][protocol=bgp][tag=+010]/metric', 1))
        self.set((base + '/route[tag=10][protocol=example-network:bgp][prefix=10.0.0.0/8]/metric', 2))
        place = base + '/route[prefix=10.0.0.0/8][protocol=example-network:bgp][tag=10]'
        self.assertEqual(self.get(base + '/route/metric'), {place + '/metric': 2})
        self.assertEqual(self.get('/routing/instance/route[protocol=bgp]/tag'), {place + '/tag': 10})
        self.assertEqual(self.get('/routing/instance/route[prefix=10.255.0.0/8]/metric'), {place + '/metric': 2})
        self.refused(lambda: self.get('/routing/instance/route[protocol=static]'), 'NOT_FOUND', 'no data at')
        # Prefix and path part anywhere.
        answer = self.target.stub.Get(gnmi.GetRequest(
            prefix=path('/routing/instance[name=red]', target='box'), path=[path('/route/metric')], encoding='PROTO'))
        self.assertEqual(answer.notification[0].prefix.target, 'box')
        self.assertEqual([(text(u.path), val(u.val)) for u in answer.notification[0].update], [(place + '/metric', 2)])

    def test_a_key_of_a_union(self):
        self.set(('/routing/instance[name=a]/neighbour[peer=007]/weight', -1),
                 ('/routing/instance[name=a]/neighbour[peer=any]/weight', 2),
                 ('/routing/instance[name=a]/neighbour[peer=eth0]/weight', 3))
        self.assertEqual(self.get('/routing/instance/neighbour[peer=7]/weight'),
                         {'/routing/instance[name=a]/neighbour[peer=7]/weight': -1})
        self.assertEqual(len(self.get('/routing/instance/neighbour/weight')), 3)

    def test_each_kind_of_leaf(self):
        base = '/interfaces/interface[name=a]/'
        # leaf, value in JSON_IETF, the same in PROTO, values that are refused
        rows = [('mtu', 1400, V(uint_val=1400), ['1400', 67, 9217, 1.5, True, V(string_val='1400'), V(double_val=1)]),
                ('enabled', False, V(bool_val=False), ['false', 0, V(string_val='false')]),
                ('description', 'x"y', V(string_val='x"y'), [1, True, None, {}, [], V(int_val=1)]),
                ('description', '*', V(string_val='*'), [V(leaflist_val=gnmi.ScalarArray())]),
                ('type', 'example-system:tunnel', V(string_val='example-system:tunnel'), ['example-network:tunnel', 1]),
                ('load', '1.5', V(double_val=1.5), [1.5, '1.234', V(string_val='1.5'), V(double_val=1.234)]),
                ('speed', '18446744073709551615', V(uint_val=2**64 - 1), [1, '18446744073709551616', V(int_val=-1)]),
                ('offset', -7, V(int_val=-7), ['-7', 2**31, V(uint_val=2**31)]),
                ('secret', 'AAE=', V(bytes_val=b'\0\1'), ['%', V(string_val='AAE=')]),
                ('passive', [None], V(bool_val=True), [None, '', True, V(bool_val=False)]),
                ('vlan', [7, 5], V(leaflist_val=gnmi.ScalarArray(element=[V(uint_val=7), V(uint_val=5)])),
                 [7, [0], [5, 5], ['5'], [[5]], V(uint_val=7)])]
        for leaf, json, proto, wrong in rows:
            with self.subTest(leaf):
                self.set((base + leaf, json))
                self.assertEqual(self.get(base + leaf), {base + leaf: json})
                self.assertEqual(self.get(base + leaf, encoding='PROTO'), {base + leaf: val(proto)})
                self.set(delete=[base + leaf])
                self.set((base + leaf, proto))
                self.assertEqual(self.get(base + leaf), {base + leaf: json})
                for value in wrong:
                    self.refused(lambda: self.set((base + leaf, value)), 'INVALID_ARGUMENT', 'update[0]: ', leaf)
                self.assertEqual(self.get(base + leaf), {base + leaf: json})
        self.refused(lambda: self.set((base + 'mtu', V(ascii_val='1'))), 'UNIMPLEMENTED')
        self.refused(lambda: self.set((base + 'mtu', V())), 'INVALID_ARGUMENT', 'no value')
        self.refused(lambda: self.set((base + 'mtu', V(json_val=b'{'))), 'INVALID_ARGUMENT', 'no JSON')
        self.refused(lambda: self.set((base + 'mtu', V(json_val=b'[' * 1000))), 'INVALID_ARGUMENT', 'nests')
        # Plain JSON takes numbers where JSON_IETF has strings.
        self.set((base + 'speed', V(json_val=b'12')), (base + 'load', V(json_val=b'2.25')))
        self.assertEqual(self.get(base + 'speed', encoding='JSON'), {base + 'speed': '12'})
        self.assertEqual(self.get(base + 'load', encoding='PROTO'), {base + 'load': 2.25})

    def test_trees(self):
        self.set(('/', {'example-network:interfaces': {'interface': [{'name': 'a', 'mtu': 100}, {'name': 'b'}]},
                        'example-network:system': {'example-system:contact': 'me', 'login': {}}}))
        self.assertEqual(self.get('/system'), {'/system': {'example-system:contact': 'me', 'login': {'tries': 3}}})
        self.assertEqual(self.get('/system', encoding='JSON'), {'/system': {'contact': 'me', 'login': {'tries': 3}}})
        state = {'changes': '1'}
        self.assertEqual(self.get('/interfaces'), {'/interfaces': {'interface': [
            {'name': 'a', 'mtu': 100, 'enabled': True, 'state': state},
            {'name': 'b', 'mtu': 1500, 'enabled': True, 'state': state}]}})
        self.assertEqual(set(self.get('/interfaces/interface[name=b]', encoding='PROTO').values()),
                         {'b', 1500, True, 1})
        # Update adds, replace leaves nothing else, and what is left out of a replaced list goes.
        self.set(('/interfaces/interface[name=a]', {'description': 'x'}))
        self.assertEqual(self.get('/interfaces/interface[name=a]/mtu'), {'/interfaces/interface[name=a]/mtu': 100})
        self.set(replace=[('/interfaces/interface[name=a]', {'name': 'a', 'description': 'y'})])
        self.assertEqual(self.get('/interfaces/interface[name=a]/mtu'), {'/interfaces/interface[name=a]/mtu': 1500})
        self.set(replace=[('/interfaces/interface', [{'name': 'c'}, {'name': 'a'}])])
        self.assertEqual(sorted(self.get('/interfaces/interface/name').values()), ['a', 'c'])
        self.refused(lambda: self.get('/interfaces/interface[name=a]/description'), 'NOT_FOUND')
        self.assertEqual(self.get('/interfaces/interface[name=a]/state'),
                         {'/interfaces/interface[name=a]/state': {'changes': '4'}}, 'state outlives a replacement')
        for value, words in [({}, 'lacks its key'), ({'name': 'b'}, 'name'), ({'name': 'a', 'state': {}}, 'state'),
                             ({'name': 'a', 'nme': 1}, "'nme'"), ([], 'object')]:
            self.refused(lambda: self.set(replace=[('/interfaces/interface[name=a]', value)]), 'INVALID_ARGUMENT', words)
        for value, words in [([{}], 'lacks its key'), ([{'name': 'a'}, {'name': 'a'}], 'twice'), ({}, 'array'),
                             ([{'name': '*'}], "'*'")]:
            self.refused(lambda: self.set(('/interfaces', {'interface': value})), 'INVALID_ARGUMENT', words)
        self.set(delete=['/'])
        self.refused(lambda: self.get('/interfaces'), 'NOT_FOUND')

    def test_presence(self):
        """A container that means something by being there comes and goes with what is in it, and its defaults with it."""
        tries = '/system/login/tries'
        self.set(delete=['/system/login/banner'])
        self.refused(lambda: self.get('/system/login'), 'NOT_FOUND')
        self.set(('/system/login/banner', 'b'))
        self.assertEqual(self.get(tries), {tries: 3})
        self.set(delete=['/system/login/banner'])
        self.assertEqual(self.get('/system'), {'/system': {'login': {'tries': 3}}})
        self.set(replace=[('/system', {'hostname': 'h'})])
        self.refused(lambda: self.get(tries), 'NOT_FOUND')
        self.assertEqual(self.get('/system'), {'/system': {'hostname': 'h'}})

    def test_an_empty_leaf_list(self):
        vlan = '/interfaces/interface[name=a]/vlan'
        self.set((vlan, [7, 5]))
        self.set((vlan, []))
        self.refused(lambda: self.get(vlan), 'NOT_FOUND')
        self.set((vlan, [5, 6, 7]), (vlan, [1]))
        self.assertEqual(self.get(vlan), {vlan: [1]})

    def test_order_and_deletion(self):
        base = '/interfaces/interface[name=a]'
        answer = self.set((base + '/mtu', 100), (base + '/mtu', 200), delete=[base], replace=[(base + '/mtu', 300)])
        self.assertEqual([r.op for r in answer.response], [1, 2, 3, 3])
        self.assertEqual(self.get(base + '/mtu'), {base + '/mtu': 200})
        self.set(delete=['/interfaces/interface[name=nobody]', '/system/login', base + '/mtu'])
        self.assertEqual(self.get(base + '/mtu'), {base + '/mtu': 1500})
        self.set(('/routing/instance[name=r]/route[prefix=::/0][protocol=bgp][tag=1]', {}),
                 ('/routing/instance[name=r]/route[prefix=::/0][protocol=bgp][tag=2]', {}),
                 ('/routing/instance[name=r]/route[prefix=::/0][protocol=static][tag=1]', {}))
        self.set(delete=['/routing/.../route[protocol=bgp][tag=1]'])
        self.assertEqual(len(self.get('/routing/instance/route/tag')), 2)
        self.set(delete=['/routing/instance/*[protocol=*]'])
        self.refused(lambda: self.get('/routing/instance/route'), 'NOT_FOUND')
        self.assertEqual(len(self.set().response), 0)

    def test_types_of_data_and_models(self):
        self.set(('/interfaces/interface[name=a]/mtu', 100), ('/system/contact', 'me'), ('/system/hostname', 'h'))
        whole = '/interfaces/interface[name=a]'
        self.assertEqual(self.get(whole, type='STATE'), {whole: {'name': 'a', 'state': {'changes': '1'}}})
        self.assertEqual(self.get(whole, type='OPERATIONAL', encoding='PROTO'), {whole + '/state/changes': 1})
        self.assertEqual(self.get(whole, type='CONFIG'), {whole: {'name': 'a', 'mtu': 100, 'enabled': True}})
        self.refused(lambda: self.get('/system', type='STATE'), 'NOT_FOUND')
        models = [gnmi.ModelData(name='example-system')]
        self.assertEqual(self.get('/system', use_models=models), {'/system': {'example-system:contact': 'me'}})
        self.refused(lambda: self.get('/system', use_models=[gnmi.ModelData(name='x')]), 'INVALID_ARGUMENT', "'x'")

    def test_a_set_is_all_or_nothing(self):
        good = [(f'/interfaces/interface[name=e{i}]/mtu', 1000 + i) for i in range(499)]
        self.refused(lambda: self.set(*good, ('/interfaces/interface[name=x]/mtu', 1)), 'INVALID_ARGUMENT',
                     'update[499]: ', '68')
        self.refused(lambda: self.get('/interfaces/interface/mtu'), 'NOT_FOUND')
        self.set(*good)
        self.assertEqual(sorted(self.get('/interfaces/interface/mtu').values()), [1000 + i for i in range(499)])

    def test_what_is_refused(self):
        self.set(('/interfaces/interface[name=a]/mtu', 100))
        long = '/interfaces' + '/x' * 100
        keys = gnmi.Path(elem=[gnmi.PathElem(name='interfaces', key={str(i): '' for i in range(100_000)})])
        # path, what Get says, what Set says, words
        for where, get, set_, word in [
                ('/interface', 'UNIMPLEMENTED', 'NOT_FOUND', 'unknown element'),
                ('/nowhere:interfaces', 'UNIMPLEMENTED', 'NOT_FOUND', 'nowhere'),
                ('/interfaces/interface[id=a]/mtu', 'INVALID_ARGUMENT', 'INVALID_ARGUMENT', "'id'"),
                ('/routing/instance[name=a]/route[tag=x][prefix=::/0][protocol=bgp]/metric', 'INVALID_ARGUMENT',
                 'INVALID_ARGUMENT', "key 'tag'"),
                ('/interfaces/interface/mtu', None, 'INVALID_ARGUMENT', 'name'),
                ('/interfaces/*/mtu', None, 'INVALID_ARGUMENT', '*'),
                (long, 'RESOURCE_EXHAUSTED', 'RESOURCE_EXHAUSTED', '101 elements')]:
            with self.subTest(where):
                if get:
                    self.refused(lambda: self.get(where), get, word)
                self.refused(lambda: self.set((where, 5)), set_, word)
        for made, code in [(keys, 'RESOURCE_EXHAUSTED'), (path('/system', target='x'), 'INVALID_ARGUMENT'),
                           (path('/system', origin='x'), 'INVALID_ARGUMENT'),
                           (gnmi.Path(elem=[gnmi.PathElem()]), 'INVALID_ARGUMENT'),
                           (gnmi.Path(element=['a/b']), 'INVALID_ARGUMENT')]:
            stub = self.target.stub
            self.refused(lambda: stub.Get(gnmi.GetRequest(path=[made])), code)
            if not made.target:
                self.refused(lambda: stub.Get(gnmi.GetRequest(prefix=made, path=[path('/system')])), code)
            self.refused(lambda: stub.Set(gnmi.SetRequest(delete=[made])), code)
        state = '/interfaces/interface[name=a]/state'
        for call in (lambda: self.set((state, {})), lambda: self.set((state + '/changes', '5')),
                     lambda: self.set(delete=[state])):
            self.refused(call, 'INVALID_ARGUMENT', 'is state')
        self.refused(lambda: self.set(delete=['/interfaces/interface[name=a]/name']), 'INVALID_ARGUMENT', 'is a key')
        self.refused(lambda: self.set(('/interfaces/interface[name=a]/name', 'b')), 'INVALID_ARGUMENT', 'name')
        self.set(('/interfaces/interface[name=a]/name', 'a'))
        self.refused(lambda: self.get('/system', encoding='ASCII'), 'UNIMPLEMENTED', 'encoding')
        self.refused(lambda: self.get('/system', extension=[gnmi.Extension()]), 'UNIMPLEMENTED', 'extensions')
        self.refused(lambda: self.set(('/system/hostname', 'a'), extension=[gnmi.Extension()]), 'UNIMPLEMENTED')
        self.refused(lambda: self.set(union_replace=[gnmi.Update()]), 'UNIMPLEMENTED', 'union_replace')
        self.set(extension=[gnmi.Extension()])
        self.assertEqual(self.get('/interfaces/interface[name=a]/mtu'), {'/interfaces/interface[name=a]/mtu': 100})

    def test_an_object_of_many_members(self):
        """That takes no time that grows with the square of the members: then it would take minutes."""
        many = ','.join(f'"a{i}":0' for i in range(300_000))
        request = gnmi.SetRequest(update=[update('/system', V(json_val=f'{{{many}}}'.encode()))])
        self.refused(lambda: self.target.stub.Set(request, timeout=30), 'INVALID_ARGUMENT', 'no member')

    def test_modules_of_others(self):
        """A leaf state/changes counts where it can, and is none of the target's where it cannot."""
        with tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, 'other.yang').write_text('module other { yang-version 1.1; namespace "urn:o"; prefix o;' + ''.join(
                f'list {name} {{ key k; leaf k {{ type string; }} leaf v {{ type int8; }}'
                f'container state {{ config false; leaf changes {{ type {kind}; }} }} }}'
                for name, kind in (('a', 'string'), ('b', 'uint8'), ('c', 'uint64'))) + '}')
            self.target.__exit__()
            self.target = Target(yang=folder)
            self.addCleanup(self.target.__exit__)
            for name in 'abc':
                for i in range(2):
                    self.set((f'/{name}[k=x]/v', i))
            self.assertEqual(self.get('/c[k=x]/state', encoding='PROTO'), {'/c[k=x]/state/changes': 2})
            for name in 'ab':
                self.refused(lambda: self.get(f'/{name}[k=x]/state'), 'NOT_FOUND')

    def test_old_senders(self):
        self.set(('/interfaces/interface[name=a/b]/mtu', 100))
        answer = self.target.stub.Get(gnmi.GetRequest(
            path=[gnmi.Path(element=['interfaces', 'interface[name=a/b]', 'mtu'])], encoding='PROTO'))
        self.assertEqual([val(u.val) for u in answer.notification[0].update], [100])


if __name__ == '__main__':
    unittest.main()
