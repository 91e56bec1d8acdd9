"""A target of one's own for a test: started on a port that the system chooses, ended with the test."""

import json
import os
import re
import signal
import subprocess
import sys
import tempfile

import grpc

import gnmi_pb2 as gnmi
import gnmi_pb2_grpc


class Target:
    def __init__(self, *options, program=None, yang=None, address='127.0.0.1:0', channel=True):
        program = program or os.environ['TARGET']
        self.log = tempfile.TemporaryFile('w+')  # No pipe: one that is full would stop the target.
        self.process = subprocess.Popen(
            [program, '--yang', yang or os.environ['TARGET_YANG'], '--listen', address, *options],
            stdout=subprocess.PIPE, stderr=self.log, text=True)
        line = self.process.stdout.readline()
        match = re.search(r'port (\d+)', line)
        assert match, line + self.logged()
        self.port = int(match[1])
        if channel:
            self.connect()

    def connect(self):
        self.channel = grpc.insecure_channel(f'127.0.0.1:{self.port}', options=[('grpc.max_receive_message_length', -1)])
        self.stub = gnmi_pb2_grpc.gNMIStub(self.channel)
        return self.stub

    def end(self, how=signal.SIGTERM):
        if how == signal.SIGTERM:
            self.channel.close()  # The target waits for connections to close before it ends.
        self.process.send_signal(how)
        self.process.communicate(timeout=60)
        log = self.logged()
        self.log.close()
        return self.process.returncode, log

    def resident(self, what='VmRSS'):
        """KiB of memory."""
        with open(f'/proc/{self.process.pid}/status') as status:
            return next(int(line.split()[1]) for line in status if line.startswith(what))

    def peak(self):
        return self.resident('VmHWM')

    def logged(self):
        self.log.seek(0)
        return self.log.read()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            code, err = self.end()
            if err:
                sys.stderr.write(err)
            assert code == 0, code


def path(text, origin='', target=''):
    """A path from its text, without escapes but `\\]`."""
    made = gnmi.Path(origin=origin, target=target)
    for element in re.findall(r'/((?:[^/\[]|\[(?:\\.|[^\]])*\])+)', text):
        name = re.match(r'[^\[]*', element)[0]
        elem = made.elem.add(name=name)
        for key, value in re.findall(r'\[([^=\]]*)=((?:\\.|[^\]])*)\]', element):
            elem.key[key] = value.replace('\\]', ']')
    return made


def text(made):
    """The text of a path, its keys sorted."""
    return ''.join('/' + e.name + ''.join(f'[{k}={v}]' for k, v in sorted(e.key.items())) for e in made.elem)


def ietf(value):
    return gnmi.TypedValue(json_ietf_val=json.dumps(value).encode())


def update(where, value):
    return gnmi.Update(path=path(where), val=value if isinstance(value, gnmi.TypedValue) else ietf(value))


def val(value):
    """What a typed value holds."""
    kind = value.WhichOneof('value')
    held = getattr(value, kind)
    if kind in ('json_val', 'json_ietf_val'):
        return json.loads(held)
    return [val(v) for v in held.element] if kind == 'leaflist_val' else held
