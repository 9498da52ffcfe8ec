"""Keyed archives built and taken apart from the published layout, independently of our code."""
import datetime
import plistlib

EPOCH = datetime.datetime(2001, 1, 1)


class Rect:
    def __init__(self, x, y, w, h):
        self.v = (x, y, w, h)


def ns_archive(root):
    objects = ["$null"]
    classes = {}
    uniq = {}

    def cls(name, chain):
        if name not in classes:
            classes[name] = len(objects)
            objects.append({"$classname": name, "$classes": chain})
        return plistlib.UID(classes[name])

    def enc(o):
        if o is None:
            return plistlib.UID(0)
        if isinstance(o, (str, int, float, bytes)):
            key = (type(o), o)
            if key not in uniq:
                uniq[key] = len(objects)
                objects.append(o)
            return plistlib.UID(uniq[key])
        slot = len(objects)
        objects.append(None)
        if isinstance(o, dict):
            keys = [enc(k) for k in o]
            vals = [enc(x) for x in o.values()]
            objects[slot] = {"NS.keys": keys, "NS.objects": vals,
                             "$class": cls("NSMutableDictionary", ["NSMutableDictionary", "NSDictionary", "NSObject"])}
        elif isinstance(o, list):
            objects[slot] = {"NS.objects": [enc(x) for x in o],
                             "$class": cls("NSMutableArray", ["NSMutableArray", "NSArray", "NSObject"])}
        elif isinstance(o, datetime.datetime):
            objects[slot] = {"NS.time": (o - EPOCH).total_seconds(), "$class": cls("NSDate", ["NSDate", "NSObject"])}
        elif isinstance(o, Rect):
            x, y, w, h = o.v
            objects[slot] = {"NS.special": 3, "NS.rectval": "{{%g, %g}, {%g, %g}}" % (x, y, w, h),
                             "$class": cls("NSValue", ["NSValue", "NSObject"])}
        return plistlib.UID(slot)

    top = enc(root)
    return plistlib.dumps({"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"root": top},
                           "$objects": objects}, fmt=plistlib.FMT_BINARY, sort_keys=False)


def ns_unarchive(data):
    p = plistlib.loads(data)
    assert p["$archiver"] == "NSKeyedArchiver" and p["$version"] == 100000
    objs = p["$objects"]
    assert objs[0] == "$null"

    def dec(uid):
        o = objs[uid.data]
        if uid.data == 0:
            return None
        if not isinstance(o, dict):
            return o
        name = objs[o["$class"].data]["$classname"]
        if name in ("NSMutableDictionary", "NSDictionary"):
            return {dec(k): dec(v) for k, v in zip(o["NS.keys"], o["NS.objects"])}
        if name in ("NSMutableArray", "NSArray"):
            return [dec(v) for v in o["NS.objects"]]
        if name == "NSDate":
            return EPOCH + datetime.timedelta(seconds=o["NS.time"])
        if name == "NSValue":
            assert o["NS.special"] == 3
            return ("rect", o["NS.rectval"])
        raise ValueError(name)

    return dec(p["$top"]["root"])
