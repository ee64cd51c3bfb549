#include "commands/VrelFlashUtils.h"
#include "commands/VrelSetDeviceLifecycleStage.h"
#include "framework/JsonText.h"
#include "plugin/VrelManager.h"
#include "tests/support/FakeApi.h"
#include "tests/support/LogRecorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

/**
 * @file
 * The library against the vendor's table of functions as its binary has it: slots by number, arguments by
 * position and width, records as plain bytes. Nothing here knows IVrelAPI; this is the contract written down
 * a second time.
 */
namespace {

using U8 = unsigned char;
using U32 = std::uint32_t;
using Text = char const*;
using Log = void (*)(unsigned long, char const*, void*);

/** A record of that many bytes. */
template <std::size_t Size>
struct Raw
{
    U8 bytes[Size];
};

/** What the table's functions note, and what they answer. */
struct Face
{
    std::string call;
    int result = 0;
};

Face& face()
{
    static Face instance;
    return instance;
}

std::string show(U8 number)
{
    return "u8 " + std::to_string(number);
}

std::string show(U32 number)
{
    return "u32 " + std::to_string(number);
}

std::string show(Text text)
{
    return '"' + std::string(text) + '"';
}

/** Takes the record as it came in, by its size and what is not zero in it. */
template <std::size_t Size>
std::string show(Raw<Size>* record)
{
    QByteArray const bytes(reinterpret_cast<char const*>(record), Size);
    bool const isZero = bytes.count('\0') == bytes.size();
    return (isZero ? std::to_string(Size) + " zero" : bytes.toHex().toStdString()) + '*';
}

/** Of the device list only the count is set when it comes in. */
std::string show(Raw<53000>* /*list*/)
{
    return "53000*";
}

std::string show(char* /*error*/)
{
    return "E";
}

std::string show(Log /*log*/)
{
    return "CB";
}

std::string show(void* /*context*/)
{
    return "X";
}

/** Only records and the error text are for answers. */
template <typename Argument>
void answer(Argument /*argument*/, unsigned int /*position*/)
{
}

/** Byte after byte, beginning with the argument's position times sixteen: every byte tells where it is from.
 */
template <std::size_t Size>
void answer(Raw<Size>* record, unsigned int position)
{
    for (std::size_t i = 0; i < Size; ++i)
        record->bytes[i] = static_cast<U8>(position * 16 + i);
}

/** 24 devices: S0 at 1-1, S1 at 2-1 and so on. */
void answer(Raw<53000>* list, unsigned int /*position*/)
{
    std::memset(list, 0xEE, sizeof *list);
    auto const store = [list](std::size_t offset, auto value) {
        std::memcpy(list->bytes + offset, &value, sizeof value);
    };
    store(0, U32{24});
    for (std::size_t i = 0; i < 24; ++i) {
        std::string const name = 'S' + std::to_string(i);
        std::memcpy(list->bytes + 4 + 128 * i, name.c_str(), name.size() + 1);
        std::size_t const location = 0xC08 + 2080 * i;
        store(location, static_cast<U8>(i + 1));
        store(location + 1, U8{1});
        store(location + 8, std::int32_t{1});
    }
}

void answer(char* error, unsigned int /*position*/)
{
    std::memset(error, 'e', 1024);
}

/** The library's callback and context are called; the level's upper half must arrive. */
void callBack(Log log, void* context)
{
    log(2, "called back", context);
    if (sizeof(unsigned long) > 4)
        log(2 + (1UL << 31U) * 2, "of a level beyond 32 bits", context);
}

template <typename... Arguments>
void callBackLast(Arguments... arguments)
{
    if constexpr (sizeof...(arguments) > 2) {
        auto const all = std::make_tuple(arguments...);
        callBack(std::get<sizeof...(arguments) - 2>(all), std::get<sizeof...(arguments) - 1>(all));
    }
}

template <int Slot, typename... Arguments>
int operation(void* /*self*/, Arguments... arguments)
{
    std::string call = std::to_string(Slot) + '(';
    char const* separator = "";
    ((call += separator + show(arguments), separator = ", "), ...);
    face().call += call + ')';
    unsigned int position = 0;
    (answer(arguments, position++), ...);
    callBackLast(arguments...);
    return face().result;
}

void version(void* /*self*/, Raw<260>* record)
{
    std::memset(record, 'v', 256);
    std::int32_t const length = 5;
    std::memcpy(record->bytes + 256, &length, sizeof length);
}

using Slot = void (*)();

template <typename Function>
Slot slot(Function* function)
{
    return reinterpret_cast<Slot>(function);
}

struct Object
{
    Slot const* table;
};

Object* vendorObject()
{
    using Ifp = Raw<44>*;
    using Number = Raw<4>*;
    static Slot const s_table[27] = {
        slot(&version),
        slot(&std::abort),
        slot(&std::abort),
        slot(&operation<3, Raw<53000>*, char*>),
        slot(&operation<4, U32, Ifp, Number, Raw<16>*, Number, Raw<260>*, Text, char*, Log, void*>),
        slot(&operation<5, Number, Number, Number, Text, char*, Log, void*>),
        slot(&operation<6, Text, Text, Ifp, char*, Log, void*>),
        slot(&operation<7, Text, Text, Number, Text, Text, Text, char*, Log, void*>),
        slot(&std::abort),
        slot(&std::abort),
        slot(&operation<10, Text, U8, Text, char*, Log, void*>),
        slot(&std::abort),
        slot(&std::abort),
        slot(&operation<13, Text, Text, U8, U8, Text, char*, Log, void*>),
        slot(&operation<14, Text, U32, Raw<12>*, Number, Number, Number, Number, Text, char*, Log, void*>),
        slot(&operation<15, Text, Raw<1>*, U8, Raw<828>*, Number, Text, char*, Log, void*>),
        slot(&std::abort),
        slot(&operation<17, Text, U8, U8, Text, char*, Log, void*>),
        slot(&operation<18, U32, Text, Number, Raw<16>*, Number, Raw<260>*, Text, char*, Log, void*>),
        slot(&operation<19, Text, Text, U8, Text, char*, Log, void*>),
        slot(&operation<20, Text, Text, U8, Text, char*, Log, void*>),
        slot(&operation<21, Text, Text, Text, char*, Log, void*>),
        slot(&operation<22, Text, Text, Text, char*, Log, void*>),
        slot(&operation<23, Text, Raw<1>*, U8, Text, Text, char*, Log, void*>),
        slot(&operation<24, Text, U8, U8, Raw<12>*, Text, Text, char*, Log, void*>),
        slot(&operation<25, Text, Text, Text, char*, Log, void*>),
        slot(&operation<26, Text, Text, Text, char*, Log, void*>),
    };
    static Object s_object{s_table};
    return &s_object;
}

/** A request, the call that it becomes, and lines of the log that show where the answers were read. */
struct FaceCase
{
    char const* request;
    char const* call;
    Lines shown;
};

FaceCase const kCases[] = {
    {R"({"command":"enumerate"})", "3(53000*, E)", {R"(3 "1-1" : "S0")", R"(3 "24-1" : "S23")"}},
    {R"({"command":"iddevice","flags":4294967295})",
     R"(4(u32 4294967295, 44 zero*, 4 zero*, 16 zero*, 4 zero*, 260 zero*, "SN", E, CB, X))",
     {"3 Response flags: 1128415552", "3 OEM platform ID: 23222120",
      "3 Unique platform ID: 303132333435363738393a3b3c3d3e3f",
      "3 Image errors: 54 55 56 57 58 59 5a 5b 5c 5d 5e 5f"}},
    {R"({"command":"iddevice","ifp":"i"})",
     R"(18(u32 0, "i", 4 zero*, 16 zero*, 4 zero*, 260 zero*, "SN", E, CB, X))",
     {"3 Response flags: 1128415552", "3 OEM platform ID: 23222120"}},
    {R"({"command":"startover","flags":4278190081})",
     R"(5(010000ff*, 4 zero*, 4 zero*, "SN", E, CB, X))",
     {"3 Current operation: 13121110", "3 Current context: 23222120"}},
    {R"({"command":"fwrec","fw_rux":"m","ifp-path":"i"})", R"(6("m", "SN", 44 zero*, E, CB, X))", {}},
    {R"({"command":"downloadfwos","fw_rux":"m","fw_image":"f","os_rux":"r","os_image":"o","flags":4278190081})",
     R"(7("m", "f", 010000ff*, "r", "o", "SN", E, CB, X))",
     {}},
    {R"({"command":"erasetoken","fw_rux":"m","slot":255})", R"(10("m", u8 255, "SN", E, CB, X))", {}},
    {R"({"command":"configpart","fw_rux":"m","path":"c","device":"ufs","idx":254})",
     R"(13("m", "c", u8 3, u8 254, "SN", E, CB, X))",
     {}},
    {R"({"command":"gettokenpid","fw_rux":"m","flags":4294967295})",
     R"(14("m", u32 4294967295, 12 zero*, 4 zero*, 4 zero*, 4 zero*, 4 zero*, "SN", E, CB, X))",
     {"3 OEM platform ID: 63626160", "3 Device ID: |53525150", "3 Token Part ID: 202122232425262728292a2b",
      "3 Trusted time: |43424140", "3 Nonce: |33323130"}},
    {R"({"command":"getcardinfo","fw_rux":"m","device":"emmc","idx":253})",
     R"(15("m", 02*, u8 253, 828 zero*, 3c030000*, "SN", E, CB, X))",
     {"OCR: 0x33323130", "Manufacture ID: 0x34", "Product SN: 41403f3e", "GPP1 size:  1413920768 kB"}},
    {R"({"command":"getcardinfo","fw_rux":"m","device":"spi","idx":1,"path":"o"})",
     R"(23("m", 01*, u8 1, "o", "SN", E, CB, X))",
     {}},
    {R"({"command":"clearrpmb","fw_rux":"m","device":"ufs_hpb","idx":252})",
     R"(17("m", u8 16, u8 252, "SN", E, CB, X))",
     {}},
    {R"({"command":"writetoken","fw_rux":"m","token":"t","slot":7})",
     R"(19("m", "t", u8 7, "SN", E, CB, X))",
     {}},
    {R"({"command":"readtoken","fw_rux":"m","path":"t","slot":8})",
     R"(20("m", "t", u8 8, "SN", E, CB, X))",
     {}},
    {R"({"command":"oemifpprovision","fw_rux":"m","token":"b"})", R"(22("m", "b", "SN", E, CB, X))", {}},
    {R"({"command":"readbootmedia","fw_rux":"m","path":"t","device":"emmc","idx":9,"start":16909060,"blocks":8,)"
     R"("part":4294967295})",
     R"(24("m", u8 2, u8 9, ffffffff0403020108000000*, "t", "SN", E, CB, X))",
     {}},
    {R"({"command":"downloadoemkeymanifest","fw_rux":"m","key":"k"})", R"(25("m", "k", "SN", E, CB, X))", {}},
    {R"({"command":"setcapabilities","fw_rux":"m","capabilities":"c"})",
     R"(26("m", "c", "SN", E, CB, X))",
     {}},
};

class BinaryFaceTest : public ::testing::Test
{
protected:
    BinaryFaceTest()
    {
        face() = Face();
        vendorHolds().api = reinterpret_cast<IVrelAPI*>(vendorObject());
    }

    ~BinaryFaceTest() override { vendorHolds().api = nullptr; }

    std::string log() const
    {
        std::string text;
        for (std::string const& line : m_recorder.lines())
            text += line + '\n';
        return text;
    }

    VrelManager m_manager;
    LogHandler m_log;
    LogRecorder m_recorder;
};

TEST_F(BinaryFaceTest, EveryCommandUsesItsSlotWithItsArguments)
{
    for (FaceCase const& entry : kCases) {
        QString error;
        VrelFlashUtils utils(parseJsonObject(entry.request, error).value_or(JsonObject()));
        for (int const result : {0, 1 << 16, -256}) {
            face() = {std::string(), result};
            m_recorder.clear();
            EXPECT_EQ(utils.run(m_manager.fetchApi(), QStringLiteral("SN"), m_log), result == 0)
                << entry.request;
            EXPECT_EQ(face().call, entry.call) << "result " << result;
            std::string const text = log();
            bool const hasErrorText = text.find("\n1 " + std::string(1024, 'e') + '\n') != std::string::npos;
            EXPECT_EQ(hasErrorText, result != 0) << entry.request;
            if (face().call.find("CB") != std::string::npos) {
                EXPECT_NE(text.find("3 called back\n5 of a level beyond 32 bits\n"), std::string::npos);
            }
            for (std::string const& line : entry.shown)
                EXPECT_EQ(text.find(line + '\n') != std::string::npos, result == 0) << line << '\n' << text;
        }
    }
}

TEST_F(BinaryFaceTest, LifecycleStageAndVersionUseTheirSlots)
{
    VrelUtilsCommand::VrelSetDeviceLifecycleStage stage;
    JsonObject request;
    request.setValue(QStringLiteral("fw_rux"), "m");
    request.setValue(QStringLiteral("token"), "t");
    ASSERT_TRUE(stage.parseArguments(request, m_log));
    EXPECT_TRUE(stage.run(m_manager.fetchApi(), QStringLiteral("SN"), m_log));
    EXPECT_EQ(face().call, R"(21("m", "t", "SN", E, CB, X))");
    EXPECT_EQ(VrelManager::getVersion(), QStringLiteral("1.0.0.0 (API: vvvvv)"));
}

} // namespace
