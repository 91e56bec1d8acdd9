"""The numbers of the messages: a slip would go unnoticed between a target and clients that are built from the same file."""

import unittest

import gnmi_pb2 as gnmi

# By message: field number type, `*` where it is repeated. From the public file gnmi.proto, version 0.10.0.
FIELDS = '''
Path: element 1 string*, origin 2 string, elem 3 PathElem*, target 4 string
PathElem: name 1 string, key 2 KeyEntry*
PathElem.KeyEntry: key 1 string, value 2 string
TypedValue: string_val 1 string, int_val 2 int64, uint_val 3 uint64, bool_val 4 bool, bytes_val 5 bytes, float_val 6 float,
  double_val 14 double, decimal_val 7 Decimal64, leaflist_val 8 ScalarArray, any_val 9 Any, json_val 10 bytes,
  json_ietf_val 11 bytes, ascii_val 12 string, proto_bytes 13 bytes
ScalarArray: element 1 TypedValue*
Decimal64: digits 1 int64, precision 2 uint32
QOSMarking: marking 1 uint32
Update: path 1 Path, value 2 Value, val 3 TypedValue, duplicates 4 uint32
Notification: timestamp 1 int64, prefix 2 Path, update 4 Update*, delete 5 Path*, atomic 6 bool
GetRequest: prefix 1 Path, path 2 Path*, type 3 DataType, encoding 5 Encoding, use_models 6 ModelData*, extension 7 Extension*
GetResponse: notification 1 Notification*, error 2 Error, extension 3 Extension*
SetRequest: prefix 1 Path, delete 2 Path*, replace 3 Update*, update 4 Update*, union_replace 6 Update*, extension 5 Extension*
SetResponse: prefix 1 Path, response 2 UpdateResult*, message 3 Error, timestamp 4 int64, extension 5 Extension*
UpdateResult: timestamp 1 int64, path 2 Path, message 3 Error, op 4 Operation
SubscribeRequest: subscribe 1 SubscriptionList, poll 3 Poll, extension 5 Extension*
SubscriptionList: prefix 1 Path, subscription 2 Subscription*, qos 4 QOSMarking, mode 5 Mode, allow_aggregation 6 bool,
  use_models 7 ModelData*, encoding 8 Encoding, updates_only 9 bool
Subscription: path 1 Path, mode 2 SubscriptionMode, sample_interval 3 uint64, suppress_redundant 4 bool,
  heartbeat_interval 5 uint64
SubscribeResponse: update 1 Notification, sync_response 3 bool, error 4 Error, extension 5 Extension*
CapabilityRequest: extension 1 Extension*
CapabilityResponse: supported_models 1 ModelData*, supported_encodings 2 Encoding*, gNMI_version 3 string,
  extension 4 Extension*
ModelData: name 1 string, organization 2 string, version 3 string
'''

ENUMS = '''
Encoding: JSON 0, BYTES 1, PROTO 2, ASCII 3, JSON_IETF 4
SubscriptionMode: TARGET_DEFINED 0, ON_CHANGE 1, SAMPLE 2
GetRequest.DataType: ALL 0, CONFIG 1, STATE 2, OPERATIONAL 3
UpdateResult.Operation: INVALID 0, DELETE 1, REPLACE 2, UPDATE 3, UNION_REPLACE 4
SubscriptionList.Mode: STREAM 0, ONCE 1, POLL 2
'''

ONEOFS = {'TypedValue': {'value': 14}, 'SubscribeRequest': {'request': 2}, 'SubscribeResponse': {'response': 3}}


def table(text):
    rows = {}
    for line in text.strip().replace('\n  ', ' ').splitlines():
        name, columns = line.split(': ')
        rows[name] = [tuple(column.split()) for column in columns.split(', ')]
    return rows


def find(kind, name):
    outer, _, inner = name.rpartition('.')
    if outer:
        return getattr(gnmi.DESCRIPTOR.message_types_by_name[outer],
                       'nested_types_by_name' if kind == 'message' else 'enum_types_by_name')[inner]
    return getattr(gnmi.DESCRIPTOR, kind + '_types_by_name')[name]


def shape(field):
    types = {getattr(field, t): t[5:].lower() for t in dir(field) if t.startswith('TYPE_')}
    named = field.message_type or field.enum_type
    return (field.name, str(field.number),
            (named.name if named else types[field.type]) + ('*' if field.label == field.LABEL_REPEATED else ''))


class Proto(unittest.TestCase):
    def test_fields(self):
        for name, fields in table(FIELDS).items():
            message = find('message', name)
            self.assertEqual(sorted(shape(f) for f in message.fields), sorted(fields), name)
            self.assertEqual({o.name: len(o.fields) for o in message.oneofs}, ONEOFS.get(name, {}), name)

    def test_enumerators(self):
        for name, values in table(ENUMS).items():
            self.assertEqual([(v.name, str(v.number)) for v in find('enum', name).values], values, name)

    def test_service(self):
        self.assertEqual(gnmi.DESCRIPTOR.package, 'gnmi')
        methods = gnmi.DESCRIPTOR.services_by_name['gNMI'].methods
        self.assertEqual({m.name: (m.input_type.name, m.output_type.name) for m in methods},
                         {'Capabilities': ('CapabilityRequest', 'CapabilityResponse'), 'Get': ('GetRequest', 'GetResponse'),
                          'Set': ('SetRequest', 'SetResponse'), 'Subscribe': ('SubscribeRequest', 'SubscribeResponse')})


if __name__ == '__main__':
    unittest.main()
