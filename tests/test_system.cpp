// test_system.cpp - the system layer: devices, cancellation, log, number
// texts, UTF-8 checks, file names, clock text, version text, init counter.
#include <kx/system/System.h>

#include "system/kxLibInitCounter.h"

#include <gtest/gtest.h>

#include "TestSupport.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <regex>
#include <thread>
#include <unistd.h>

TEST(ByteContainerReadOnly, ReadsClampAndSeekErrors)
{
    const char data[] = {'a', 'b', 'c', 'd'};
    kxIoDeviceByteContainerReadOnly device(data, 4);
    char buffer[10] = {};
    EXPECT_TRUE(device.seek(2, 0));
    EXPECT_EQ(device.readBytes(buffer, 10), 2);
    EXPECT_EQ(std::string(buffer, 2), "cd");
    EXPECT_EQ(device.readBytes(buffer, 10), 0);
    EXPECT_EQ(device.readBytes(buffer, -5), 0);
    EXPECT_TRUE(device.isEndOfData());
    EXPECT_FALSE(device.hasDeviceError());
    EXPECT_EQ(device.writeBytes("x", 1), 0);
    EXPECT_EQ(device.getDeviceErrorMsg(), "Write is not supported");
    EXPECT_FALSE(device.writeBackToDevice());

    // Seeks from position 3. The position ends inside [0, 4] (the end itself
    // is allowed), extreme offsets saturate, and an error is recorded when the
    // target had to be clamped or the direction is unknown.
    const struct {
        int64_t offset;
        int direction;
        int64_t position;
        const char* error;
    } seeks[] = {{4, 0, 4, ""},
                 {-1, 2, 3, ""},
                 {-2, 1, 1, ""},
                 {5, 0, 4, "seek offset is bigger than buffer"},
                 {-1, 0, 0, "seek offset is negative"},
                 {1, 7, 3, "seek unhandled enum"},
                 {INT64_MAX, 1, 4, "seek offset is bigger than buffer"},
                 {INT64_MIN, 2, 0, "seek offset is negative"}};
    for (const auto& s : seeks) {
        kxIoDeviceByteContainerReadOnly seeker(data, 4);
        ASSERT_TRUE(seeker.seek(3, 0));
        EXPECT_EQ(seeker.seek(s.offset, s.direction), *s.error == 0) << s.offset << " from " << s.direction;
        EXPECT_EQ(seeker.tell(), s.position) << s.offset << " from " << s.direction;
        EXPECT_EQ(seeker.isEndOfData(), s.position == 4) << s.offset << " from " << s.direction;
        EXPECT_EQ(seeker.getDeviceErrorMsg(), s.error);
    }
}

TEST(WriteOnlyDevices, CountOrAppendAndNeverRead)
{
    kxIoDeviceNullWriteOnly device;
    EXPECT_TRUE(device.isEndOfData());
    EXPECT_EQ(device.writeBytes("hello", 5), 5);
    EXPECT_TRUE(device.seek(2, 0));
    EXPECT_EQ(device.writeBytes("x", 1), 1);
    EXPECT_EQ(device.size(), 5);
    EXPECT_EQ(device.tell(), 3);
    EXPECT_TRUE(device.seek(10, 2));
    EXPECT_EQ(device.tell(), 15);
    EXPECT_EQ(device.size(), 15);
    EXPECT_TRUE(device.seek(-20, 1)); // negative positions are not checked
    EXPECT_EQ(device.tell(), -5);
    EXPECT_EQ(device.size(), 15);
    EXPECT_FALSE(device.hasDeviceError());
    EXPECT_FALSE(device.seek(3, 9));
    EXPECT_EQ(device.tell(), -5);
    EXPECT_EQ(device.getDeviceErrorMsg(), "Unhandled seekp enum");

    // The container devices append to the caller's string or vector, NUL bytes included.
    std::string text = "pre:";
    kxIoDeviceByteContainerWriteOnly toString(text);
    EXPECT_EQ(toString.writeBytes("abc", 3), 3);
    EXPECT_EQ(toString.writeBytes(std::string("\0z", 2).data(), 2), 2);
    EXPECT_EQ(toString.writeBytes("abc", 0), 0);
    EXPECT_EQ(text, std::string("pre:abc\0z", 9));
    std::vector<char> bytes;
    kxIoDeviceByteContainerWriteOnly toVector(bytes);
    EXPECT_EQ(toVector.writeBytes("xy", 2), 2);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "xy");

    char c;
    kxIoDeviceNullWriteOnly nullReader;
    for (kxIoDevice* writeOnly : {static_cast<kxIoDevice*>(&nullReader), static_cast<kxIoDevice*>(&toVector)}) {
        EXPECT_EQ(writeOnly->readBytes(&c, 1), 0);
        EXPECT_EQ(writeOnly->getDeviceErrorMsg(), "readBytes is not supported");
    }
}

TEST(FileStream, WriteReadSeekAndMissingFiles)
{
    kxtest::TempDir dir;
    const std::string path = dir.file("file");
    {
        kxIoDeviceFileStream out(path, kxIoDevice::Write, true);
        ASSERT_TRUE(out.isOpen());
        EXPECT_EQ(out.writeBytes("0123456789", 10), 10);
        EXPECT_TRUE(out.writeBackToDevice());
        EXPECT_EQ(out.tell(), 10);
        char c;
        EXPECT_EQ(out.readBytes(&c, 1), 0);
        EXPECT_TRUE(out.hasDeviceError());
    }
    {
        kxIoDeviceFileStream in(path, kxIoDevice::Read, true);
        ASSERT_TRUE(in.isOpen());
        char buffer[16] = {};
        EXPECT_TRUE(in.seek(-4, 2));
        EXPECT_EQ(in.readBytes(buffer, 16), 4);
        EXPECT_EQ(std::string(buffer, 4), "6789");
        EXPECT_TRUE(in.isEndOfData());
        EXPECT_TRUE(in.seek(1, 0));
        EXPECT_EQ(in.readBytes(buffer, 2), 2);
        EXPECT_EQ(std::string(buffer, 2), "12");
        EXPECT_EQ(in.tell(), 3);
        EXPECT_EQ(in.writeBytes("x", 1), 0);
        EXPECT_TRUE(in.close());
        EXPECT_FALSE(in.isOpen());
        EXPECT_EQ(in.readBytes(buffer, 2), 0);
    }
    kxIoDeviceFileStream missing("/nonexistent-dir/none.svg", kxIoDevice::Read, true);
    EXPECT_FALSE(missing.isOpen());
    EXPECT_TRUE(missing.hasDeviceError());
    EXPECT_TRUE(missing.isEndOfData());
    kxIoDeviceFileStream empty("", kxIoDevice::Read, true);
    EXPECT_FALSE(empty.isOpen());
}

namespace {
class FixedCancel : public kxCancelInterface {
public:
    explicit FixedCancel(bool fixedAnswer) : answer(fixedAnswer) {}
    bool answer;
    int cancelCalls = 0;
    bool shouldCancel() const override { return answer; }
    void cancel() override { ++cancelCalls; }
};
} // namespace

TEST(Cancel, ProxiesAskFlagThenParentThenObserved)
{
    FixedCancel yes(true), no(false);
    EXPECT_FALSE(kxCancelInterfaceProxyReadOnly(nullptr, nullptr).shouldCancel());
    bool flag = false;
    EXPECT_FALSE(kxCancelInterfaceProxyReadOnly(&flag, &no).shouldCancel());
    EXPECT_TRUE(kxCancelInterfaceProxyReadOnly(&flag, &yes).shouldCancel());
    flag = true;
    EXPECT_TRUE(kxCancelInterfaceProxyReadOnly(&flag, &no).shouldCancel());

    bool own = false;
    EXPECT_FALSE(kxCancelInterfaceProxy(&own, &no, &no).shouldCancel());
    EXPECT_TRUE(kxCancelInterfaceProxy(&own, &yes, nullptr).shouldCancel());
    EXPECT_TRUE(kxCancelInterfaceProxy(&own, nullptr, &yes).shouldCancel());
    EXPECT_FALSE(kxCancelInterfaceProxy(&own, nullptr, nullptr).shouldCancel());

    FixedCancel parent(false), observed(false);
    kxCancelInterfaceProxy proxy(&own, &parent, &observed);
    proxy.cancel();
    EXPECT_TRUE(own);
    EXPECT_EQ(parent.cancelCalls, 1);
    EXPECT_EQ(observed.cancelCalls, 0); // observed is never cancelled
    EXPECT_TRUE(proxy.shouldCancel());
}

TEST(Log, LevelsSinkAndDefaults)
{
    EXPECT_TRUE(kxLog::isLevelEnabled(2));
    EXPECT_FALSE(kxLog::isLevelEnabled(4));
    EXPECT_FALSE(kxLog::isLevelEnabled(5));
    EXPECT_FALSE(kxLog::isLevelEnabled(-1));
    {
        kxtest::LogCapture capture;
        kxLog::write(2, "tag", "warned");
        kxLog::write(4, "tag", "debug, off");
        kxLog::write(7, "tag", "unknown level");
        kxLog::setLevelEnabled(2, false);
        kxLog::write(2, "tag", "silenced");
        kxLog::setLevelEnabled(2, true);
        kxLog::setLevelEnabled(9, true); // ignored
        ASSERT_EQ(capture.entries().size(), 1u);
        EXPECT_EQ(capture.entries()[0].level, 2);
        EXPECT_EQ(capture.entries()[0].tag, "tag");
        EXPECT_EQ(capture.entries()[0].message, "warned");
    }
    {
        // Writers on several threads all arrive.
        kxtest::LogCapture capture;
        std::mutex mutex;
        int count = 0;
        kxLog::setSink([&](int, const std::string&, const std::string&) {
            std::lock_guard<std::mutex> lock(mutex);
            ++count;
        });
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([] {
                for (int i = 0; i < 250; ++i)
                    kxLog::write(2, "t", "m");
            });
        for (std::thread& t : threads)
            t.join();
        EXPECT_EQ(count, 1000);
    }
}

TEST(StringUtils, IntegerTexts)
{
    EXPECT_EQ(kxStringUtils::fromInt64(0), "0");
    EXPECT_EQ(kxStringUtils::fromInt64(-42), "-42");
    EXPECT_EQ(kxStringUtils::fromInt64(INT64_MIN), "-9223372036854775808");
    EXPECT_EQ(kxStringUtils::fromUInt64(UINT64_MAX), "18446744073709551615");
}

TEST(StringUtils, FloatTextsAreShortestAndPositional)
{
    const std::pair<float, const char*> texts[] = {
        {0.0f, "0"},          {-0.0f, "-0"},         {1.0f, "1"},
        {0.1f, "0.1"},        {-1.5f, "-1.5"},       {100.0f, "100"},
        {123456.7f, "123456.7"}, {0.00015f, "0.00015"}, {1e20f, "100000000000000000000"},
        {1e-7f, "0.0000001"}, {1.0f / 3.0f, "0.33333334"}, {INFINITY, "inf"},
        {3.4028235e38f, "340282350000000000000000000000000000000"}};
    for (const auto& [value, text] : texts) EXPECT_EQ(kxStringUtils::fromFloatImpl(value, 20, 2), text);
    EXPECT_EQ(kxStringUtils::fromFloatImpl(1.0f / 3.0f, 3, 2), "0.333");

    // Every text reads back as the same float, and none has an exponent.
    std::mt19937 random(12345);
    std::uniform_int_distribution<uint32_t> bits;
    for (int i = 0; i < 200000; ++i) {
        uint32_t b = bits(random);
        float value;
        std::memcpy(&value, &b, sizeof value);
        if (!std::isfinite(value))
            continue;
        const std::string text = kxStringUtils::fromFloatImpl(value, 20, 2);
        ASSERT_EQ(text.find_first_of("eE"), std::string::npos) << text;
        char* end = nullptr;
        const float back = strtof_l(text.c_str(), &end, kxStringUtils::msCLocale);
        ASSERT_EQ(*end, '\0') << text;
        ASSERT_EQ(std::memcmp(&back, &value, sizeof value), 0) << text;
    }
}

TEST(StringUtils, Utf8ValidationAndFileExtensions)
{
    // U+10FFFF is the last code point; truncated, lone continuation, overlong,
    // surrogate and out-of-range sequences are not UTF-8.
    for (const std::string& valid : {std::string(""), std::string("plain ascii"), std::string("a\0b", 3),
                                    std::string("caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80"),
                                    std::string("\xf4\x8f\xbf\xbf")})
        EXPECT_TRUE(kxStringUtils::IsUtf8String(valid)) << valid;
    for (const char* invalid : {"\xc3", "\x80", "\xc0\xaf", "\xe0\x80\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xff",
                                "ok\xe2\x82"})
        EXPECT_FALSE(kxStringUtils::IsUtf8String(invalid)) << invalid;

    // The last `count` extensions of the file name, with or without the dot.
    const struct {
        const char* path;
        bool withoutDot;
        int count;
        const char* extension;
    } names[] = {{"picture.svg", true, 1, "svg"},      {"/a/b/Picture.SVG", true, 1, "SVG"},
                 {"archive.svg.svgz", true, 1, "svgz"}, {"archive.tar.gz", false, 1, ".gz"},
                 {"archive.tar.gz", true, 2, "tar.gz"}, {"noext", true, 1, ""},
                 {"dir.d/noext", true, 1, ""},          {"dir.d\\noext", true, 1, ""},
                 {"trailing.", true, 1, ""},            {".hidden", true, 1, "hidden"},
                 {"", true, 1, ""}};
    for (const auto& n : names)
        EXPECT_EQ(kxDirUtils::ExtractFileExtension(n.path, n.withoutDot, n.count), n.extension) << n.path;
}

TEST(SystemUtils, DateTimeAndVersionTexts)
{
    const std::string utc = kxSystemUtils::GetCurrentDateTimeISO(true);
    EXPECT_TRUE(std::regex_match(utc, std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z"))) << utc;
    const std::string local = kxSystemUtils::GetCurrentDateTimeISO(false);
    EXPECT_TRUE(std::regex_match(local, std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[+-][0-9]{2}:[0-9]{2}")))
        << local;

    const kx::SoftwareVersionInfoForStream version = kx::GetSoftwareVersionForStream();
    EXPECT_EQ(version.getName(), "libkxSvg");
    // The commit id is baked in when the layer is built; in a tree that moves
    // on between builds it may differ from this program's, so only its form is checked.
    EXPECT_TRUE(std::regex_match(version.getVersion(), std::regex("3\\.0\\.0\\.1297 #[0-9a-f]{16}")))
        << version.getVersion();
    EXPECT_EQ(version.toString(), "libkxSvg " + version.getVersion());
}

// The counter's edges and its log entry for an unbalanced call are checked
// through the libraries that use it (test_frame, test_xml).
TEST(LibInitCounter, ExactlyOneConcurrentCallSeesTheFirstEdge)
{
    kx::impl::LibInitCounter shared("shared", false);
    std::atomic<int> firsts{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i)
                if (shared.incrementInitCounter())
                    ++firsts;
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(firsts.load(), 1);
    EXPECT_EQ(shared.getCount(), 4000);
}
