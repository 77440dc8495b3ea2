"""How gdb shows what the types of QVFoundation hold: values, texts, errors, versions, operations and trees of progress.

gdb loads this by itself together with the library, where it is installed; elsewhere `source` does. What stands in the
library's own storage is only seen with the library's debug symbols.
"""

import datetime

import gdb
import gdb.printing

NAMESPACE = "QVFoundation::"
LONGEST_TEXT = 200


class NotSeen(Exception):
    """Says why something cannot be shown."""


# --- What the standard library's types hold. Their own printers show it, but do not hand it out.


def quoted(text):
    shown = text if len(text) <= LONGEST_TEXT else text[:LONGEST_TEXT] + "…"
    escaped = "".join(c if c.isprintable() else c.encode("unicode_escape").decode() for c in shown.replace("\\", "\\\\"))
    return '"' + escaped.replace('"', '\\"') + '"'


def characters(start, length):
    length = min(int(length), 4 * LONGEST_TEXT + 4)
    return start.string(encoding="utf-8", errors="replace", length=length) if length else ""


def text_in(string):
    """Of a std::string or a std::string_view."""
    if string.type.strip_typedefs().unqualified().has_key("_M_str"):
        return characters(string["_M_str"], string["_M_len"])
    return characters(string["_M_dataplus"]["_M_p"], string["_M_string_length"])


def text_in_optional(optional):
    payload = optional["_M_payload"]
    return text_in(payload["_M_payload"]["_M_value"]) if payload["_M_engaged"] else None


def elements_of(vector):
    implementation = vector["_M_impl"]
    start = implementation["_M_start"]
    return (start[i] for i in range(int(implementation["_M_finish"] - start)))


def contents_of(table, kind):
    """Addresses in a hash table, of what stands behind the pointer to the next one."""
    node = table["_M_h"]["_M_before_begin"]["_M_nxt"]
    while node:
        yield (node + 1).cast(kind.pointer())
        node = node["_M_nxt"]


def seen_as(value, kind):
    """The same bytes as something else."""
    if value.address is None:
        raise NotSeen("it is not in memory: put it into a variable first")
    return value.address.cast(kind.pointer()).dereference()


def kept_by(pointer):
    """The address in a std::shared_ptr or a std::unique_ptr."""
    kind = pointer.type.strip_typedefs().template_argument(0)
    return seen_as(pointer, kind.pointer())


# --- Types of the library.


def type_named(name):
    try:
        kind = gdb.lookup_type(NAMESPACE + name)
        if kind.fields():
            return kind
    except (gdb.error, TypeError):
        pass
    raise NotSeen("the library's debug symbols are not there")


def storage_of(owner, name):
    """What the node holds that a value shares, or none where it holds nothing yet."""
    node = owner["node_"]["node_"]
    return node.cast(type_named("detail::" + name).pointer()).dereference() if node else None


def bases_of(kind):
    yield kind.name
    if kind.code == gdb.TYPE_CODE_STRUCT:
        for field in kind.fields():
            if field.is_base_class:
                yield from bases_of(field.type.strip_typedefs())


def plain(name):
    return name.removeprefix(NAMESPACE) if name else "?"


class Shown:
    """Text alone."""

    def __init__(self, text):
        self.text = text

    def to_string(self):
        return self.text


class Group(Shown):
    """A text, and what belongs under it: pairs of a name and a value."""

    def __init__(self, text, members):
        super().__init__(text)
        self.members = members

    def children(self):
        return iter(self.members)


class Map(Shown):
    def __init__(self, text, pairs):
        super().__init__(text)
        self.pairs = pairs

    def display_hint(self):
        return "map"

    def children(self):
        for number, (key, value) in enumerate(self.pairs):
            yield f"[key {number}]", key
            yield f"[value {number}]", value


class List(Group):
    def __init__(self, text, elements):
        super().__init__(text, [(f"[{number}]", each) for number, each in enumerate(elements)])

    def display_hint(self):
        return "array"


def number(value):
    bits, kind = int(value["bits_"]), int(value["type_"])
    boolean, first_unsigned, first_floating = 0, 5, 9
    if kind == boolean:
        return Shown("true" if bits else "false")
    if kind >= first_floating:
        return Shown(str(float(seen_as(value["bits_"], gdb.lookup_type("double")))))
    return Shown(str(bits if kind >= first_unsigned or bits < 1 << 63 else bits - (1 << 64)))


def date(value):
    nanoseconds = int(value["__d"]["__r"])
    seconds, rest = divmod(nanoseconds, 10**9)
    try:
        moment = datetime.datetime(1970, 1, 1) + datetime.timedelta(seconds=seconds)
    except OverflowError:
        return Shown(f"{seconds} s since 1970")
    return Shown(f"{moment:%Y-%m-%d %H:%M:%S}.{rest // 10**6:03} UTC")


def data(node):
    vector = node["bytes"]
    size = int(vector["_M_impl"]["_M_finish"] - vector["_M_impl"]["_M_start"])
    start = vector["_M_impl"]["_M_start"].cast(gdb.lookup_type("unsigned char").pointer())
    shown = " ".join(f"{int(start[i]):02x}" for i in range(min(size, 16)))
    return Shown(f"{size} bytes" + (f": {shown}" if size else "") + (" …" if size > 16 else ""))


def array(value):
    node = storage_of(value, "ArrayNode")
    elements = list(elements_of(node["elements"])) if node else []
    return List(f"array of {len(elements)}", elements)


def pairs_in(dictionary):
    node = storage_of(dictionary, "DictionaryNode")
    for key in contents_of(node["entries"], type_named("Value")) if node else ():
        yield key.dereference(), (key + 1).dereference()  # two values side by side are a std::pair


def dictionary(value):
    pairs = list(pairs_in(value))
    return Map(f"dictionary of {len(pairs)}", pairs)


def set_(value):
    node = storage_of(value, "SetNode")
    members = [each.dereference() for each in contents_of(node["members"], type_named("Value"))] if node else []
    return List(f"set of {len(members)}", members)


def index_set(value):
    runs = [(int(run["first"]), int(run["count"])) for run in elements_of(value["ranges_"])]
    return Shown("{" + ", ".join(str(a) if n == 1 else f"{a}-{a + n - 1}" for a, n in runs) + "}")


def content_of(value):
    """The alternative that a Value holds now, or none."""
    content = value["content_"]
    index = int(content["_M_index"].cast(gdb.lookup_type("signed char")))
    return seen_as(content, content.type.strip_typedefs().template_argument(index)) if index > 0 else None


def value(value_):
    content = content_of(value_)
    if content is None:
        return Shown("nothing")
    name = str(content.type.strip_typedefs())
    if name.startswith(NAMESPACE + "detail::Ref<"):
        owner = {"node_": content}
        for kind, show in (("Array", array), ("Dictionary", dictionary), ("Set", set_), ("Error", error)):
            if kind + "Node" in name:
                return show(owner)
        if "DataNode" in name:
            return data(storage_of(owner, "DataNode"))
        boxed = content["node_"].dereference()
        return Shown(boxed.cast(boxed.dynamic_type)["content_"])
    if name.endswith("NSNumber"):
        return number(content)
    if name.endswith("NSNull"):
        return Shown("null")
    if "basic_string" in name:
        return Shown(quoted(text_in(content)))
    if "time_point" in name:
        return date(content)
    return Shown(object_text(kept_by(content)))


def object_text(pointer):
    if not pointer:
        return "null object"
    return f"<{plain(pointer.dereference().dynamic_type.name)} {int(pointer):#x}>"


def entry(pairs, name):
    """The text under a key."""
    for key, value_ in pairs:
        content = content_of(key)
        if content is not None and "basic_string" in str(content.type.strip_typedefs()) and text_in(content) == name:
            return text_in(content_of(value_))
    return None


def error(value_):
    node = storage_of(value_, "ErrorNode")
    if node is None:
        return Shown("no error")
    pairs = list(pairs_in(node["userInfo"]))
    text = text_in(node["localizedDescription"]) or entry(pairs, "NSLocalizedDescription")
    text = text or entry(pairs, "NSLocalizedFailureReason")
    head = f"{text_in_optional(node['domain'])} {int(node['code'])}" + (f": {text}" if text else "")
    return Group(head, [("userInfo", node["userInfo"])] if pairs else [])


def version(value_):
    digits = value_["digits_"]
    all_ = [int(each) for each in elements_of(digits["many_"])]
    few = digits["few_"]["_M_elems"]
    return Shown(".".join(map(str, all_ or [int(few[i]) for i in range(int(digits["count_"]))])))


def atomic(value_):
    return (value_["_M_base"] if value_.type.strip_typedefs().has_key("_M_base") else value_)["_M_i"]


def progress(value_):
    base = value_.cast(type_named("NSProgress"))
    head = f"{int(atomic(base['completed_']))} of {int(atomic(base['total_']))}"
    details = kept_by(base["details_"])
    if details:
        description = text_in_optional(details.dereference()["description"])
        if description is not None:
            head += " " + quoted(description)
    for flag in ("isCancelled_", "isPaused_"):
        if atomic(base[flag]):
            head += ", " + flag[2:-1].lower()
    children = []
    each = base["children_"]["first_"]
    while each:
        children.append((f"[{int(each['pending_'])} units]", each.dereference()))
        each = each["siblings_"]["next"]
    return Group(head, children)


def name_of(operation):
    extras = kept_by(operation["extras_"])
    if extras:
        given = extras.dereference()["name"]["_M_payload"]
        if given["_M_engaged"]:
            return text_in_optional(given["_M_payload"]["_M_value"])
    return None


def operation(value_):
    base = value_.cast(type_named("NSOperation"))
    own = value_.cast(type_named("QVOperation"))
    name = name_of(base) or text_in(own["timingName_"]["text_"]["text_"])
    state = str(atomic(base["state_"])).rpartition("::")[2]
    if atomic(base["isCancelled_"]) or atomic(base["isBeingCancelled_"]):
        state += ", cancelled"
    elif atomic(own["isPaused_"]):
        state += ", paused"
    members = []
    if kept_by(own["progress_"]):
        members.append(("progress", kept_by(own["progress_"]).dereference()))
    if kept_by(own["subOperation_"]):
        members.append(("subOperation", object_text(kept_by(own["subOperation_"]))))
    for field in value_.type.strip_typedefs().fields():
        is_ours = plain(value_.type.strip_typedefs().name) in ("QVOperation", "QVAsyncOperation")
        if not field.is_base_class and field.name and not hasattr(field, "enumval") and not is_ours:
            members.append((field.name, value_[field]))
    return Group(f"{plain(value_.type.strip_typedefs().name)} {quoted(name)}, {state}", members)


def member_text(*path):
    def show(value_):
        for name in path:
            value_ = value_[name]
        return Shown(quoted(text_in(value_)))

    return show


BY_NAME = {
    "Array": array,
    "Dictionary": dictionary,
    "IndexSet": index_set,
    "NSError": error,
    "NSNull": lambda _: Shown("null"),
    "NSNumber": number,
    "NSURL": member_text("text_"),
    "QVOperationConditionName": member_text("rawValue_"),
    "Set": set_,
    "StaticText": member_text("text_"),
    "Value": value,
}

# Classes that applications derive from.
BY_BASE = {
    "NSProgress": progress,
    "QVOperation": operation,
    "QVVersionNumber": version,
    "StaticName": member_text("text_", "text_"),
}


class Printers(gdb.printing.PrettyPrinter):
    def __init__(self):
        super().__init__("QVFoundation")
        self.shows = {}

    def show_for(self, kind):
        """The function that shows a type, kept because gdb asks for each value."""
        name = kind.name
        if name not in self.shows:
            found = BY_NAME.get(plain(name)) if name.startswith(NAMESPACE) else None
            for base in bases_of(kind) if found is None else ():
                if base and base.startswith(NAMESPACE):
                    found = found or BY_BASE.get(plain(base).partition("<")[0])
            self.shows[name] = found
        return self.shows[name]

    def __call__(self, value_):
        if value_.type.code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
            value_ = value_.referenced_value()
        kind = value_.type.strip_typedefs().unqualified()
        if kind.code != gdb.TYPE_CODE_STRUCT or not kind.name:
            return None
        show = self.show_for(kind)
        if show is None:
            return None
        try:
            return show(value_)
        except NotSeen as reason:
            return Shown(f"<{reason}>")
        except (gdb.error, RuntimeError):
            return Shown("<made of bytes that are no value: not made yet, or gone>")


gdb.printing.register_pretty_printer(gdb.current_objfile(), Printers(), replace=True)
