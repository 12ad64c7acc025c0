// The lists of fields from which every message is read and written: if these fail, a record that is described
// right travels wrong, and client and host lose each other in the middle of a stream.

#include "plugin/WireRecord.h"
#include "core/MemoryInputStream.h"
#include "plugin/WireMessage.h"
#include "plugin/WorkerCommands.h"
#include "support/FailureText.h"
#include "support/WireBytes.h"

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using namespace test_support;

namespace {

class Point : public Object {
public:
    static constexpr const char* wireName = "point";

    int32_t x = 0;

    static constexpr auto fields() { return wire::fields(wire::int32b("x", &Point::x)); }
};

struct Base {
    int32_t id = 0;

    static constexpr auto fields() { return wire::fields(wire::int32n("id", &Base::id)); }
};

/// A field of each kind, declared in another order than that of the wire.
struct Everything : Base {
    bool flag = false;
    String text;
    float number = 0;
    int64_t wide = 0;
    bool hasNames = false;
    std::array<String, 2> names;
    std::vector<int32_t> sizes;
    std::vector<Ref<Point>> points;
    Ref<Point> origin{new Point};

    static constexpr auto fields() {
        using wire::Int32b;
        using wire::Int32n;
        return wire::extend(
            Base::fields(), wire::string("text", &Everything::text), wire::int64n("wide", &Everything::wide),
            wire::number("number", &Everything::number), wire::boolean("flag", &Everything::flag),
            wire::list<Int32b, Int32n>("sizeCount", "size", &Everything::sizes),
            wire::list<Int32n, wire::Nested<Point>>("pointCount", "point", &Everything::points),
            wire::record("origin", &Everything::origin),
            wire::optionalArray<wire::Text>("hasNames", &Everything::hasNames, "name", &Everything::names,
                                            "2 if hasNames"));
    }
};

const std::string example = bytesOf("07 00 00 00 "                         // id
                                    "00 00 00 02 'Hi' "                    // text
                                    "01 00 00 00 02 00 00 00 "             // wide
                                    "00 00 00 3F "                         // number
                                    "01 "                                  // flag
                                    "00 00 00 02 05 00 00 00 06 00 00 00 " // sizes
                                    "01 00 00 00 00 00 00 09 "             // points
                                    "00 00 00 0B "                         // origin
                                    "01 00 00 00 01 'a' 00 00 00 01 'b'"); // names

Everything readEverything(const std::string& bytes) {
    base::core::MemoryInputStream stream(bytes.data(), bytes.size());
    Everything record;
    wire::read(stream, record);
    EXPECT_EQ(stream.available(), 0u);
    return record;
}

std::string writtenRecord(const Everything& record) {
    std::string bytes;
    base::core::StdStringOutputStream stream(&bytes);
    wire::write(stream, record);
    return bytes;
}

class Zero : public Object {
public:
    static constexpr uint8_t type = 0;
    explicit Zero(int32_t) {}
};

class One : public Zero {
public:
    static constexpr uint8_t type = 1;
    using Zero::Zero;
};

static_assert(WireFamily<Zero, One>::isInOrder());
static_assert(!WireFamily<One, Zero>::isInOrder());
static_assert(!WireFamily<Zero, Zero>::isInOrder());

} // namespace

TEST(WireRecord, ReadsEveryKindOfFieldInTheOrderOfTheList) {
    const Everything record = readEverything(example);
    EXPECT_EQ(record.id, 7);
    EXPECT_EQ(record.text, "Hi");
    EXPECT_EQ(record.wide, 0x200000001);
    EXPECT_EQ(record.number, 0.5F);
    EXPECT_TRUE(record.flag);
    EXPECT_EQ(record.sizes, (std::vector<int32_t>{5, 6}));
    ASSERT_EQ(record.points.size(), 1u);
    EXPECT_EQ(record.points[0]->x, 9);
    EXPECT_EQ(record.origin->x, 11);
    EXPECT_TRUE(record.hasNames);
    EXPECT_EQ(record.names[0], "a");
    EXPECT_EQ(record.names[1], "b");
}

TEST(WireRecord, WritesWhatItReads) {
    EXPECT_EQ(writtenRecord(readEverything(example)), example);
}

TEST(WireRecord, AnArrayWhoseFlagIsFalseTakesNoBytes) {
    Everything record = readEverything(example);
    record.hasNames = false;
    EXPECT_EQ(writtenRecord(record), example.substr(0, example.size() - 11) + '\0');
    const Everything copy = readEverything(writtenRecord(record));
    EXPECT_FALSE(copy.hasNames);
    EXPECT_TRUE(copy.names[0].isEmpty());
}

TEST(WireRecord, ACountBelowZeroIsAnEmptyList) {
    std::string bytes = example;
    bytes.replace(bytes.find(bytesOf("00 00 00 02 05")), 12, bytesOf("FF FF FF FF"));
    EXPECT_TRUE(readEverything(bytes).sizes.empty());
}

TEST(WireRecord, AListReplacesWhatTheRecordHeld) {
    base::core::MemoryInputStream stream(example.data(), example.size());
    Everything record;
    record.sizes = {1, 2, 3};
    wire::read(stream, record);
    EXPECT_EQ(record.sizes, (std::vector<int32_t>{5, 6}));
}

TEST(WireRecord, AStreamThatEndsWithinAFieldIsAnError) {
    for (size_t size = 0; size < example.size(); ++size) {
        base::core::MemoryInputStream stream(example.data(), size);
        Everything record;
        EXPECT_THROW(wire::read(stream, record), EOSException) << "cut to " << size;
    }
}

TEST(WireRecord, BytesInMemoryAreThoseOfTheStream) {
    const std::string command = bytesOf("01 02 03 04 05 00 00 00 01 00");
    std::string written(command.size() + 1, 'x');
    ProcessCommand fields;
    wire::readBytes(reinterpret_cast<const uint8_t*>(command.data()), fields);
    EXPECT_EQ(fields.instanceId, 0x04030201);
    EXPECT_EQ(fields.frames, 5);
    EXPECT_TRUE(fields.keepActive);
    EXPECT_FALSE(fields.realtime);
    wire::writeBytes(reinterpret_cast<uint8_t*>(written.data()), fields);
    EXPECT_EQ(written, command + "x");
    std::string whole(processCommandSize + 1, 'x');
    auto* const begin = reinterpret_cast<uint8_t*>(whole.data());
    EXPECT_EQ(appendProcess(begin, fields), begin + processCommandSize);
    EXPECT_EQ(whole, "\2" + command + "x");
}

TEST(WireRecord, AnImpossibleFlagInMemoryIsAnError) {
    for (const char* text : {"01 00 00 00 05 00 00 00 02 00", "01 00 00 00 05 00 00 00 00 FF"}) {
        const std::string command = bytesOf(text);
        ProcessCommand fields;
        EXPECT_EQ(failureText<IOException>(
                      [&] { wire::readBytes(reinterpret_cast<const uint8_t*>(command.data()), fields); }),
                  "Unexpected value for bool");
    }
}

TEST(WireRecord, DescribesItsFieldsForADocument) {
    std::string table;
    wire::describe<Everything>(
        [&](const std::string& name, const std::string& primitive, const std::string& times) {
            table += name + " " + primitive + " " + times + "\n";
        });
    EXPECT_EQ(table, "id int32n \n"
                     "text string \n"
                     "wide int64n \n"
                     "number float \n"
                     "flag bool \n"
                     "sizeCount int32b \n"
                     "size int32n sizeCount\n"
                     "pointCount int32n \n"
                     "point point pointCount\n"
                     "origin point \n"
                     "hasNames bool \n"
                     "name string 2 if hasNames\n");
}

TEST(WireFamily, MakesTheClassOfAType) {
    using Family = WireFamily<Zero, One>;
    const auto isOne = [](const Ref<Zero>& made) { return dynamic_cast<One*>(made.get()) != nullptr; };
    EXPECT_TRUE(isOne(Family::make<Zero>(1, 0)));
    EXPECT_FALSE(isOne(Family::make<Zero>(0, 0)));
    EXPECT_TRUE(Family::make<Zero>(0, 0));
    EXPECT_FALSE(Family::make<Zero>(2, 0));
}
