"""The Python module, as its user sees it."""

import copy
import gc
import ipaddress
import pathlib
import pickle
import resource
import subprocess
import sys
import threading

import drovan
import pytest

ROOT = pathlib.Path(__file__).parents[2]
ROUTE = "/vrf[name=red]/route[vrf=red][prefix=10.1.2.3/8][protocol=bgp]"


@pytest.fixture(scope="module")
def schema():
    return drovan.Schema.yaml(ROOT / "examples/network.yaml")


def key_of(schema, path):
    return schema.resolve(path)[-1].key


def test_selections(schema):
    found = schema.resolve("/vrf[name=red]/route[protocol=bgp][vrf=red]")
    assert len(found) == 2
    vrf, route = found
    assert (vrf.collection, vrf.key.value, vrf.filter, vrf.every) == ("Network::Device.vrf", "red", None, False)
    assert (route.collection, route.key, route.every) == ("Network::Vrf.route", None, False)
    assert list(route.filter.items()) == [("vrf", "red"), ("protocol", "bgp")]
    assert found.path == "/vrf[name=red]/route[protocol=bgp][vrf=red]"
    assert (found.node.kind, found.node.name, found.node.type) == ("list", "route", "Network::Route")
    every = schema.resolve("/vrf")[0]
    assert every.every and every.key is None and every.filter == {}
    assert every.matches(vrf.key) and vrf.matches(vrf.key) and not route.matches(vrf.key)
    assert repr(found) == "[<Network::Device.vrf: \"red\">, <Network::Vrf.route: filter {'vrf': 'red', 'protocol': 'bgp'}>]"
    assert found[-1].name == "route" and [one.name for one in found[:1]] == ["vrf"]
    with pytest.raises(IndexError):
        found[2]
    with pytest.raises(TypeError):
        vrf.matches("red")


def test_keys(schema):
    key = key_of(schema, ROUTE)
    assert (key.vrf, key.prefix, key.protocol, key.tag) == ("red", "10.0.0.0/8", "bgp", None)
    assert key["prefix"] == "10.0.0.0/8"
    assert key.part("prefix").address == ipaddress.ip_network("10.0.0.0/8")
    assert list(key.items()) == [("vrf", "red"), ("prefix", "10.0.0.0/8"), ("protocol", "bgp"), ("tag", None)]
    assert repr(key) == "Network::RouteKey(vrf=\"red\", prefix=10.0.0.0/8, protocol='bgp')" == str(key)
    assert key.path == "/vrf[name=red]/route[prefix=10.0.0.0/8][protocol=bgp][vrf=red]"
    assert (key.type, key.kind, key.value) == ("Network::RouteKey", "parts", key)
    assert key.json == '{"vrf":"red","prefix":"10.0.0.0/8","protocol":"bgp"}'
    assert "prefix" in dir(key)
    with pytest.raises(AttributeError, match="prefx"):
        key.prefx
    with pytest.raises(KeyError, match="prefx"):
        key["prefx"]
    with pytest.raises(AttributeError):
        key.vrf = "blue"
    with pytest.raises(TypeError):
        drovan.Key()


@pytest.mark.parametrize("path, kind, value", [
    ("/vlan[id=7]", "wrapper", 7),
    ("/breaker[closed=true]", "bool", True),
    ("/certificate[fingerprint=AAEC]", "bytes", b"\0\1\2"),
    ("/timer[period=-1.5]", "seconds", -1_500_000_000),
    ("/snapshot[taken=1970-01-01T00:00:01Z]", "time", 1_000_000_000),
    ("/meter[direction=out]", "enum", "out"),
    ("/host[mac=02:00:5E:10:00:FF]", "mac-address", "02:00:5e:10:00:ff"),
    ("/speaker[id=64512]", "union", 64512),
    ("/vrf[name=häuser]", "string", "häuser"),
    (b"/vrf[name=a\0b]", "string", "a\0b"),
])
def test_values(schema, path, kind, value):
    key = key_of(schema, path)
    assert (key.kind, key.value) == (kind, value)
    assert type(key.value) is type(value)


def test_addresses(schema):
    assert key_of(schema, "/vrf[name=x]/neighbour[name=10.0.0.1]").address == ipaddress.ip_address("10.0.0.1")
    assert key_of(schema, "/vrf[name=x]/neighbour[name=::1]").address == ipaddress.ip_address("::1")
    with pytest.raises(TypeError, match="is no address"):
        key_of(schema, "/vrf[name=x]/neighbour[name=eth0]").address


def test_equal_keys_are_one_in_sets(schema):
    keys = [key_of(schema, f"/vlan[id={text}]") for text in ("9", "7", "007", "8")]
    assert keys[1] == keys[2] and hash(keys[1]) == hash(keys[2]) and keys[0] != keys[1]
    assert len(set(keys)) == 3
    assert [str(key) for key in sorted(keys)] == ["7", "7", "8", "9"]
    assert keys[1] < keys[3] <= keys[0] and keys[0] > keys[1] and keys[1] >= keys[2]
    assert keys[1] != 7 and key_of(schema, "/vrf[name=7]") != keys[1]
    with pytest.raises(TypeError):
        keys[0] < 9
    assert copy.copy(keys[0]) is keys[0] and copy.deepcopy(keys[0]) is keys[0]
    with pytest.raises(TypeError, match="pickle its path"):
        pickle.dumps(keys[0])


def test_invalid_utf8(schema):
    key = key_of(schema, b"/vrf[name=\xff]")
    with pytest.raises(UnicodeDecodeError, match="`bytes`"):
        key.value
    assert key.bytes == b"\xff"
    assert repr(key) == '"\\xff"'
    assert schema.resolve(b"/vrf[name=\xff]").path == b"/vrf[name=\xff]"
    routes = schema.resolve(b"/vrf/route[vrf=\xff]")
    assert routes[1].filter == {"vrf": b"\xff"} and "xff" in repr(routes)
    with pytest.raises(UnicodeEncodeError):
        schema.resolve("/vrf[name=\udcff]")
    with pytest.raises(drovan.DecodeError):
        schema.resolve(b"/vr\xff")


def test_errors(schema):
    with pytest.raises(drovan.DecodeError) as caught:
        schema.resolve("/vrf[nmae=red]")
    error = caught.value
    assert (error.kind, error.offset, error.element, error.key, error.unknown, error.near) == (
        "KeyUnknown", 5, 0, "nmae", "nmae", ["name"])
    assert error.text == "unknown key 'nmae' of 'vrf'"
    assert str(error) == "unknown key 'nmae' of 'vrf' (at byte 5)"
    again = pickle.loads(pickle.dumps(error))
    assert (str(again), again.near, again.index) == (str(error), ["name"], None)
    with pytest.raises(drovan.DecodeError) as caught:
        schema.resolve("/vrf/name", mode="write")
    assert caught.value.kind == "KeyMissing"
    with pytest.raises(ValueError, match="read, write, delete, notify"):
        schema.resolve("/vrf", mode="update")
    with pytest.raises(TypeError, match="str or bytes, not int"):
        schema.resolve(7)


def test_schemas(tmp_path):
    with pytest.raises(drovan.DecodeError, match="no type 'u8'") as caught:
        drovan.Schema.yaml_text("module: M\ntypes: {K: {wraps: u8}}", name="m.yaml")
    assert caught.value.kind == "BadSchema" and caught.value.text.startswith("m.yaml:2:20: ")
    with pytest.raises(drovan.DecodeError, match="nowhere.yaml"):
        drovan.Schema.yaml(tmp_path / "nowhere.yaml")
    with pytest.raises(drovan.DecodeError):
        drovan.Schema.yaml(ROOT / "examples/network.yaml", root="Nothing")
    modules = drovan.Schema.yang([ROOT / "examples/target"], ["example-network"])
    assert modules.warnings == []
    found = modules.resolve("/interfaces/interface[name=eth0]/mtu")
    assert (found[0].name, found[0].key.value, found.node.kind) == ("interface", "eth0", "leaf")
    assert drovan.Schema.yang([ROOT / "tests/yang/bad"]).warnings
    with pytest.raises(TypeError, match="lists"):
        drovan.Schema.yang("dir")
    for features, names in (((), ["UnknownNode"]), (["kinds:rare"], [])):
        kinds = drovan.Schema.yang([ROOT / "tests/yang/modules"], ["kinds"], features=features)
        assert [one.kind for one in kinds.resolve_many(["/kinds/rare"], errors="return")
                if isinstance(one, drovan.DecodeError)] == names
    with pytest.raises(drovan.DecodeError, match="a feature is named 'module:feature'; not 'rare'"):
        drovan.Schema.yang([ROOT / "tests/yang/modules"], ["kinds"], features=["rare"])
    with pytest.raises(TypeError):
        drovan.Schema()


def test_decoder_jobs(schema):
    fields = {"key__vrf": "red", "key__prefix": "10.0.0.0/8", "key__protocol": "bgp"}
    key = schema.decode("Network::Vrf", "route", fields)
    assert key == key_of(schema, ROUTE) and key.path is None
    with pytest.raises(drovan.DecodeError, match="Missing attribute 'protocol' in the key"):
        schema.decode("Network::Vrf", "route", {"key__vrf": "red", "key__prefix": "10.0.0.0/8"})
    with pytest.raises(TypeError, match="a map from key path to value, not list"):
        schema.decode("Network::Vrf", "route", list(fields))
    with pytest.raises(TypeError, match="a key is a drovan.Key, not str"):
        schema.path_of([("Network::Device", "vrf", "red")])
    with pytest.raises(TypeError):
        "vrf" in key
    assert schema.decode_scalar("Network::Device", "vlan", "id", "7").value == 7
    assert schema.decode_scalar("Network::Device", "vlan", "id", "*") is None
    red = key_of(schema, "/vrf[name=red]")
    assert schema.path_of([("Network::Device", "vrf", red), ("Network::Vrf", "route", key)]) == key_of(
        schema, ROUTE).path
    assert schema.resolve("/vrf/route[vrf=red][prefix=10.0.0.0/8][protocol=bgp]")[1].key.path is None


class Path:
    """As a class that was made from gnmi.proto: fields that are not set are empty."""

    def __init__(self, *elem, origin="", target=""):
        self.elem, self.origin, self.target = elem, origin, target


class PathElem:
    def __init__(self, name, /, **key):
        self.name, self.key = name, key


def test_messages(schema):
    wanted = schema.resolve("/vrf[name=red]/route[prefix=10.0.0.0/8]")
    vrf, route = PathElem("vrf", name="red"), PathElem("route", prefix="10.0.0.0/8")
    in_json = {"elem": [{"name": "vrf", "key": {"name": "red"}}]}
    assert schema.resolve_message(Path(vrf, route)) == wanted
    assert schema.resolve_message(Path(route), prefix=Path(vrf, target="router")) == wanted
    assert schema.resolve_message({"elem": [{"name": "route", "key": {b"prefix": b"10.0.0.0/8"}}]},
                                  prefix=in_json) == wanted
    assert schema.resolve_message({"elem": []}).node.name == ""
    with pytest.raises(drovan.DecodeError, match="unknown key 'colour'") as caught:
        schema.resolve_message(Path(vrf, PathElem("route", colour="blue")))
    assert (caught.value.element, caught.value.offset, caught.value.key) == (1, None, "colour")
    assert not caught.value.in_prefix
    with pytest.raises(drovan.DecodeError, match="unknown element 'vlna'") as caught:
        schema.resolve_message(Path(route), prefix=Path(PathElem("vlna")))
    assert (caught.value.element, caught.value.in_prefix) == (0, True)
    with pytest.raises(drovan.DecodeError) as caught:
        schema.resolve_message({"origin": "one", **in_json}, prefix=Path(origin="another"))
    assert caught.value.kind == "Conflict"
    with pytest.raises(drovan.DecodeError) as caught:
        schema.resolve_message(Path(PathElem("vrf"), PathElem("name")), mode="write")
    assert caught.value.kind == "KeyMissing"
    old = Path()
    old.element = ["vrf"]
    for wrong in (old, {"elems": []}, {"elem": [{"name": "vrf", "keys": {"name": "red"}}]}):  # None of them is the root.
        with pytest.raises(ValueError, match="old field element|has no field"):
            schema.resolve_message(wrong, mode="delete")
    with pytest.raises(TypeError, match="map from name to value, not list"):
        schema.resolve_message({"elem": [{"name": "vrf", "key": ["name"]}]})
    for wrong in ("/vrf", 7, None):
        with pytest.raises(TypeError, match="field elem"):
            schema.resolve_message(wrong)
    for wrong in ({"elem": [{"name": 7}]}, {"elem": [{"name": "vrf", "key": {"name": 7}}]}):
        with pytest.raises(TypeError, match="str or bytes"):
            schema.resolve_message(wrong)


def test_expansion(schema):
    assert schema.expand("/vrf[name=red]/*") == [
        "/vrf[name=red]/name", "/vrf[name=red]/route", "/vrf[name=red]/neighbour", "/vrf[name=red]/bfd"]
    with pytest.raises(drovan.DecodeError) as caught:
        schema.expand("/...", max_nodes=3)
    assert caught.value.kind == "BoundPassed"


def test_many(schema):
    paths = [f"/vlan[id={number}]" for number in range(1000)]
    many = schema.resolve_many(iter(paths))
    assert len(many) == 1000
    assert [one[0].key.value for one in many] == list(range(1000))
    assert many[-1].path == "/vlan[id=999]" and len(many[2:5]) == 3
    assert len(schema.resolve_many([])) == 0
    # Bytes, NUL and what is no ASCII beside it.
    many = schema.resolve_many(["/vrf[name=ä]", b"/vrf[name=a\0b]", "/"])
    assert [len(one) for one in many] == [1, 1, 0]
    assert many[0][0].key.value == "ä" and many[1][0].key.value == "a\0b"
    many = schema.resolve_many(["/vrf[name=ä]", "/vrf[name=ö]"])
    assert [one[0].key.value for one in many] == ["ä", "ö"]
    with pytest.raises(IndexError):
        many[2]
    # The answers keep what they need.
    key = drovan.Schema.yaml(ROOT / "examples/network.yaml").resolve_many(["/vlan[id=7]"])[0][0].key
    gc.collect()
    assert (key.value, key.path) == (7, "/vlan[id=7]")


def test_many_of_bytes_that_change(schema):
    given = bytearray(b"/vrf[nmae=red]")
    answers = schema.resolve_many([given], errors="return")
    given[:] = b"/vrf[name=red]"
    assert answers[0].unknown == "nmae"
    with pytest.raises(TypeError, match="a list"):
        schema.resolve_many("/vrf")


def test_many_errors(schema):
    paths = ["/vlan[id=7]", "/vlan[id=x]", "/nothing"]
    with pytest.raises(drovan.DecodeError) as caught:
        schema.resolve_many(paths)
    assert (caught.value.index, caught.value.kind, caught.value.offset) == (1, "ValueRefused", 9)
    many = schema.resolve_many(paths, errors="return")
    assert many[0][0].key.value == 7
    assert (many[1].index, many[1].kind, many[2].index, many[2].kind) == (1, "ValueRefused", 2, "UnknownNode")
    with pytest.raises(TypeError):
        schema.resolve_many([7])
    with pytest.raises(ValueError):
        schema.resolve_many([], errors="ignore")


def test_threads(schema):
    wanted = [schema.resolve(f"/vlan[id={number}]")[0].key for number in range(100)]
    failures = []

    def work():
        try:
            for _ in range(20):
                many = schema.resolve_many([f"/vlan[id={number}]" for number in range(100)])
                assert [one[0].key for one in many] == wanted
        except BaseException as failure:
            failures.append(failure)

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert failures == []


def test_nothing_leaks(schema):
    paths = [ROUTE, "/vrf[nmae=red]", "/vrf[name=red]/route[protocol=bgp]"] * 100

    def work():
        for one in schema.resolve_many(paths, errors="return"):
            if not isinstance(one, drovan.DecodeError):
                repr(one)
        schema.expand("/vrf[name=red]/*")

    for _ in range(5):
        work()
    gc.collect()
    before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    for _ in range(100):
        work()
    # KiB. A selection or a key that is lost for each of the 30,000 paths would be several times that.
    assert resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before < 1024


def test_keys_that_are_alive_at_the_end():
    code = ("import drovan, sys\n"
            f"schema = drovan.Schema.yaml({str(ROOT / 'examples/network.yaml')!r})\n"
            "sys.kept = [schema.resolve_many(['/vlan[id=7]'])[0], schema.resolve('/vlan[id=8]')[0].key]\n"
            "class Late:\n"
            "    def __init__(self, key): self.key, self.print = key, print\n"
            "    def __del__(self): self.print(self.key)\n"
            "late = Late(sys.kept[1])\n")
    done = subprocess.run([sys.executable, "-X", "dev", "-c", code], capture_output=True, text=True, check=False)
    assert (done.returncode, done.stdout, done.stderr) == (0, "8\n", "")


def test_readme(tmp_path, monkeypatch):
    """The lines of the README, typed into an interpreter."""
    import doctest

    text = (ROOT / "README.md").read_text()
    yaml = text.split("```yaml schema\n")[1].split("```")[0]
    lines = text.split("```pycon\n")[1].split("```")[0]
    (tmp_path / "net.yaml").write_text(yaml)
    monkeypatch.chdir(tmp_path)
    test = doctest.DocTestParser().get_doctest(lines, {}, "README.md", None, 0)
    assert len(test.examples) > 5
    result = doctest.DocTestRunner().run(test)
    assert result.failed == 0


def test_stubs_name_what_there_is():
    """Each class and member of the module stands in its stubs, and the other way round."""
    import ast

    tree = ast.parse((ROOT / "python/drovan/__init__.pyi").read_text())
    classes = {node.name: node for node in tree.body if isinstance(node, ast.ClassDef)}
    assert sorted(classes) == sorted(drovan.__all__)
    for name, node in classes.items():
        members = {part.name for part in node.body if isinstance(part, ast.FunctionDef)}
        public = {member for member in vars(getattr(drovan, name)) if not member.startswith("_")} - {"from_bytes"}
        assert public <= members, name
        assert {member for member in members if not member.startswith("_")} <= public, name
