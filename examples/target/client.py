#!/usr/bin/python3
"""Asks a gNMI target from the command line.

    client.py ADDRESS capabilities
    client.py ADDRESS get PATH...               --type CONFIG, --encoding PROTO
    client.py ADDRESS set PATH=JSON...          --replace PATH=JSON, --delete PATH
    client.py ADDRESS subscribe PATH...         --mode ONCE, --sample SECONDS

    client.py 127.0.0.1:9339 set '/interfaces/interface[name=eth0]/mtu=9000'
    client.py 127.0.0.1:9339 get '/interfaces/interface[name=eth0]'

The classes of the messages are made when the target is built: they are found beside the build of this folder, or where
PYTHONPATH says. Python and grpc are Debian's: packages python3 and python3-grpcio.
"""

import argparse
import json
import pathlib
import re
import sys

here = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(here / '../../build/release/target/build/generated'), str(here / 'build/generated')]

import grpc  # noqa: E402

import gnmi_pb2 as gnmi  # noqa: E402
import gnmi_pb2_grpc  # noqa: E402

VALUE = r'(?:\\.|[^\]\\])*'


def path(text):
    """/interfaces/interface[name=eth0]: a "]" and a backslash in a value stand behind a backslash."""
    made = gnmi.Path()
    for element in re.findall(r'/((?:[^/\[]|\[' + VALUE + r'\])+)', text):
        elem = made.elem.add(name=element.split('[')[0])
        for key, value in re.findall(r'\[([^=\]]*)=(' + VALUE + r')\]', element):
            elem.key[key] = re.sub(r'\\(.)', r'\1', value)
    return made


def text(made):
    def escaped(value):
        return re.sub(r'([\]\\])', r'\\\1', value)
    return ''.join('/' + e.name + ''.join(f'[{k}={escaped(v)}]' for k, v in sorted(e.key.items()))
                   for e in made.elem) or '/'


def update(text):
    """PATH=JSON; what is no JSON is a string."""
    match = re.fullmatch(r'((?:[^=\[]|\[' + VALUE + r'\])*)=(.*)', text, re.DOTALL)
    if not match:
        sys.exit(f'client: {text}: PATH=JSON is needed')
    try:
        value = json.dumps(json.loads(match[2]))
    except ValueError:
        value = json.dumps(match[2])
    return gnmi.Update(path=path(match[1]), val=gnmi.TypedValue(json_ietf_val=value.encode()))


def show(notification):
    for one in notification.delete:
        print('gone', text(one))
    for one in notification.update:
        kind = one.val.WhichOneof('value')
        held = getattr(one.val, kind)
        if kind in ('json_val', 'json_ietf_val'):
            held = json.dumps(json.loads(held), indent=2)
        print(text(one.path), str(held).strip())


def main():
    usage = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    usage.add_argument('address')
    usage.add_argument('call', choices=['capabilities', 'get', 'set', 'subscribe'])
    usage.add_argument('what', nargs='*', metavar='PATH[=JSON]')
    usage.add_argument('--encoding', default='JSON_IETF', choices=['JSON', 'JSON_IETF', 'PROTO'])
    usage.add_argument('--type', default='ALL', choices=['ALL', 'CONFIG', 'STATE', 'OPERATIONAL'])
    usage.add_argument('--mode', default='STREAM', choices=['STREAM', 'ONCE'])
    usage.add_argument('--sample', type=float, metavar='SECONDS')
    usage.add_argument('--replace', action='append', default=[], metavar='PATH=JSON')
    usage.add_argument('--delete', action='append', default=[], metavar='PATH')
    usage.add_argument('--target', default='')
    usage.add_argument('--ca', metavar='FILE', help='TLS, and who signed the certificate of the target')
    usage.add_argument('--cert', nargs=2, metavar=('CERT', 'KEY'), help='who the client is')
    ask = usage.parse_args()

    if ask.ca:
        def read(file):
            return pathlib.Path(file).read_bytes()
        cert, key = ask.cert and map(read, ask.cert) or (None, None)
        channel = grpc.secure_channel(ask.address, grpc.ssl_channel_credentials(read(ask.ca), key, cert))
    else:
        channel = grpc.insecure_channel(ask.address)
    stub = gnmi_pb2_grpc.gNMIStub(channel)
    prefix = gnmi.Path(target=ask.target)
    try:
        if ask.call == 'capabilities':
            print(stub.Capabilities(gnmi.CapabilityRequest()))
        elif ask.call == 'get':
            answer = stub.Get(gnmi.GetRequest(prefix=prefix, path=map(path, ask.what or ['/']), type=ask.type,
                                              encoding=ask.encoding))
            for notification in answer.notification:
                show(notification)
        elif ask.call == 'set':
            answer = stub.Set(gnmi.SetRequest(prefix=prefix, delete=map(path, ask.delete),
                                              replace=map(update, ask.replace), update=map(update, ask.what)))
            for result in answer.response:
                print(gnmi.UpdateResult.Operation.Name(result.op), text(result.path))
        else:
            kind = {} if ask.sample is None else {'mode': 'SAMPLE', 'sample_interval': int(ask.sample * 10**9)}
            subscriptions = [gnmi.Subscription(path=path(p), **kind) for p in ask.what or ['/']]
            request = gnmi.SubscribeRequest(subscribe=gnmi.SubscriptionList(
                prefix=prefix, subscription=subscriptions, mode=ask.mode, encoding=ask.encoding))
            for response in stub.Subscribe(iter([request])):
                if response.WhichOneof('response') == 'sync_response':
                    print('all sent')
                else:
                    show(response.update)
                sys.stdout.flush()
    except grpc.RpcError as error:
        sys.exit(f'client: {error.code().name}: {error.details()}')
    except KeyboardInterrupt:
        pass


if __name__ == '__main__':
    main()
