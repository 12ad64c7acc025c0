#pragma once

#include "plugin/CoreNames.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

/// The fields of the messages between client and host. A record lists them once, in the order of the wire:
///
///     static constexpr auto fields() {
///         return wire::fields(wire::int32n("program", &Example::program),
///                             wire::string("title", &Example::title));
///     }
///
/// `wire::read` and `wire::write` follow that list, and so do the tables of docs/protocol.md, which tests
/// compare with `wire::describe`, including the names. Reading throws `IOException`, and `EOSException` at
/// the end of the stream; the record is then half read.
namespace wire {

// The primitives: how a value is read and written, and the name that it has in docs/protocol.md. Those of
// commands are read from memory and written to it as well.

struct Int32n {
    static constexpr const char* name = "int32n";
    template <class Source>
    static int32_t read(Source& source) {
        return source.readNativeInt32();
    }
    template <class Target>
    static void write(Target& target, int32_t value) {
        target.writeNativeInt32(value);
    }
};

struct Int32b {
    static constexpr const char* name = "int32b";
    static int32_t read(InputStream& stream) { return stream.readInt32(); }
    static void write(OutputStream& stream, int32_t value) { stream.writeInt32(value); }
};

struct Int64n {
    static constexpr const char* name = "int64n";
    static int64_t read(InputStream& stream) { return readNative<int64_t>(stream); }
    static void write(OutputStream& stream, int64_t value) { writeNative(stream, value); }
};

struct Float {
    static constexpr const char* name = "float";
    static float read(InputStream& stream) { return readNative<float>(stream); }
    static void write(OutputStream& stream, float value) { writeNative(stream, value); }
};

struct Bool {
    static constexpr const char* name = "bool";
    template <class Source>
    static bool read(Source& source) {
        return source.readBool();
    }
    template <class Target>
    static void write(Target& target, bool value) {
        target.writeByte(value);
    }
};

struct Text {
    static constexpr const char* name = "string";
    static String read(InputStream& stream) { return stream.readString(); }
    static void write(OutputStream& stream, const String& value) { stream.writeString(value); }
};

/// An object with fields of its own, named by its class.
template <class Record>
struct Nested {
    static constexpr const char* name = Record::wireName;
    static Ref<Record> read(InputStream& stream);
    static void write(OutputStream& stream, const Ref<Record>& record);
};

// The kinds of fields.

/// One value.
template <class Primitive, class Member>
struct Field {
    const char* name;
    Member member;

    template <class Source, class Record>
    void read(Source& source, Record& record) const {
        record.*member = Primitive::read(source);
    }
    template <class Target, class Record>
    void write(Target& target, const Record& record) const {
        Primitive::write(target, record.*member);
    }
    template <class Visitor>
    void describe(Visitor& visitor) const {
        visitor(name, Primitive::name, "");
    }
};

/// A count, then as many elements. The list grows as its elements arrive, so a count from the wire sizes
/// nothing by itself; one below 0 counts as 0.
template <class Count, class Element, class Member>
struct List {
    const char* countName;
    const char* elementName;
    Member member;

    template <class Record>
    void read(InputStream& stream, Record& record) const {
        std::remove_cvref_t<decltype(record.*member)> list;
        const int32_t count = Count::read(stream);
        for (int32_t i = 0; i < count; ++i)
            list.push_back(Element::read(stream));
        record.*member = std::move(list);
    }
    template <class Record>
    void write(OutputStream& stream, const Record& record) const {
        Count::write(stream, static_cast<int32_t>((record.*member).size()));
        for (const auto& element : record.*member)
            Element::write(stream, element);
    }
    template <class Visitor>
    void describe(Visitor& visitor) const {
        visitor(countName, Count::name, "");
        visitor(elementName, Element::name, countName);
    }
};

/// A `bool`, then, where it is true, every element of an array.
template <class Element, class Flag, class Member>
struct OptionalArray {
    const char* flagName;
    Flag flag;
    const char* elementName;
    Member member;
    /// For the table: how many elements there are, and when.
    const char* times;

    template <class Record>
    void read(InputStream& stream, Record& record) const {
        record.*flag = Bool::read(stream);
        if (!(record.*flag))
            return;
        for (auto& element : record.*member)
            element = Element::read(stream);
    }
    template <class Record>
    void write(OutputStream& stream, const Record& record) const {
        Bool::write(stream, record.*flag);
        if (!(record.*flag))
            return;
        for (const auto& element : record.*member)
            Element::write(stream, element);
    }
    template <class Visitor>
    void describe(Visitor& visitor) const {
        visitor(flagName, Bool::name, "");
        visitor(elementName, Element::name, times);
    }
};

// Functions that make a list of fields.

template <class Member>
constexpr auto int32n(const char* name, Member member) {
    return Field<Int32n, Member>{name, member};
}

template <class Member>
constexpr auto int32b(const char* name, Member member) {
    return Field<Int32b, Member>{name, member};
}

template <class Member>
constexpr auto int64n(const char* name, Member member) {
    return Field<Int64n, Member>{name, member};
}

template <class Member>
constexpr auto number(const char* name, Member member) {
    return Field<Float, Member>{name, member};
}

template <class Member>
constexpr auto boolean(const char* name, Member member) {
    return Field<Bool, Member>{name, member};
}

template <class Member>
constexpr auto string(const char* name, Member member) {
    return Field<Text, Member>{name, member};
}

template <class Owner, class Record>
constexpr auto record(const char* name, Ref<Record> Owner::*member) {
    return Field<Nested<Record>, Ref<Record> Owner::*>{name, member};
}

template <class Count, class Element, class Member>
constexpr auto list(const char* countName, const char* elementName, Member member) {
    return List<Count, Element, Member>{countName, elementName, member};
}

template <class Element, class Flag, class Member>
constexpr auto optionalArray(const char* flagName, Flag flag, const char* elementName, Member member,
                             const char* times) {
    return OptionalArray<Element, Flag, Member>{flagName, flag, elementName, member, times};
}

template <class... Fields>
constexpr auto fields(Fields... list) {
    return std::tuple(list...);
}

/// The fields of a base, then those of the class itself.
template <class... BaseFields, class... Fields>
constexpr auto extend(const std::tuple<BaseFields...>& base, Fields... list) {
    return std::tuple_cat(base, std::tuple(list...));
}

// Functions that use a list.

template <class Record>
void read(InputStream& stream, Record& record) {
    static constexpr auto list = Record::fields();
    std::apply([&](const auto&... field) { (field.read(stream, record), ...); }, list);
}

template <class Record>
void write(OutputStream& stream, const Record& record) {
    static constexpr auto list = Record::fields();
    std::apply([&](const auto&... field) { (field.write(stream, record), ...); }, list);
}

/// Bytes in memory as a stream of commands, without a check of their number.
struct ByteSource {
    const uint8_t* next;

    int32_t readNativeInt32() {
        int32_t value;
        std::memcpy(&value, next, sizeof value);
        next += sizeof value;
        return value;
    }
    bool readBool() { return InputStream::boolOf(*next++); }
};

/// The same to write to.
struct ByteTarget {
    uint8_t* next;

    void writeNativeInt32(int32_t value) {
        std::memcpy(next, &value, sizeof value);
        next += sizeof value;
    }
    void writeByte(uint8_t value) { *next++ = value; }
};

/// Reads a command's fields from memory, which has all of them.
template <class Record>
void readBytes(const uint8_t* bytes, Record& record) {
    static constexpr auto list = Record::fields();
    ByteSource source{bytes};
    std::apply([&](const auto&... field) { (field.read(source, record), ...); }, list);
}

/// Writes a command's fields to memory, which has room for them.
template <class Record>
void writeBytes(uint8_t* bytes, const Record& record) {
    static constexpr auto list = Record::fields();
    ByteTarget target{bytes};
    std::apply([&](const auto&... field) { (field.write(target, record), ...); }, list);
}

/// Calls the visitor with name, primitive and number of times of each row of the record's table.
template <class Record, class Visitor>
void describe(Visitor&& visitor) {
    static constexpr auto list = Record::fields();
    std::apply([&](const auto&... field) { (field.describe(visitor), ...); }, list);
}

template <class Record>
Ref<Record> Nested<Record>::read(InputStream& stream) {
    Ref<Record> record(new Record);
    wire::read(stream, *record);
    return record;
}

template <class Record>
void Nested<Record>::write(OutputStream& stream, const Ref<Record>& record) {
    wire::write(stream, *record);
}

} // namespace wire
