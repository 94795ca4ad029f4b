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
    {
        kxIoDeviceByteContainerReadOnly device(data, 4);
        char buffer[10] = {};
        EXPECT_TRUE(device.seek(2, 0));
        EXPECT_EQ(device.readBytes(buffer, 10), 2);
        EXPECT_EQ(std::string(buffer, 2), "cd");
        EXPECT_EQ(device.readBytes(buffer, 10), 0);
        EXPECT_TRUE(device.isEndOfData());
        EXPECT_FALSE(device.hasDeviceError());
        EXPECT_EQ(device.readBytes(buffer, -5), 0);
    }
    {
        kxIoDeviceByteContainerReadOnly device(data, 4);
        EXPECT_TRUE(device.seek(4, 0)); // the end itself is allowed
        EXPECT_EQ(device.tell(), 4);
        EXPECT_TRUE(device.isEndOfData());
        EXPECT_TRUE(device.seek(-1, 2));
        EXPECT_EQ(device.tell(), 3);
        EXPECT_TRUE(device.seek(-2, 1));
        EXPECT_EQ(device.tell(), 1);
        EXPECT_FALSE(device.isEndOfData());
    }
    {
        kxIoDeviceByteContainerReadOnly device(data, 4);
        EXPECT_FALSE(device.seek(5, 0));
        EXPECT_EQ(device.tell(), 4);
        EXPECT_TRUE(device.hasDeviceError());
        EXPECT_EQ(device.getDeviceErrorMsg(), "seek offset is bigger than buffer");
    }
    {
        kxIoDeviceByteContainerReadOnly device(data, 4);
        EXPECT_FALSE(device.seek(-1, 0));
        EXPECT_EQ(device.tell(), 0);
        EXPECT_EQ(device.getDeviceErrorMsg(), "seek offset is negative");
    }
    {
        kxIoDeviceByteContainerReadOnly device(data, 4);
        device.seek(3, 0);
        EXPECT_FALSE(device.seek(1, 7)); // unknown direction: the position is the target
        EXPECT_EQ(device.tell(), 3);
        EXPECT_EQ(device.getDeviceErrorMsg(), "seek unhandled enum");
    }
    {
        // Extreme offsets saturate instead of overflowing.
        kxIoDeviceByteContainerReadOnly device(data, 4);
        device.seek(2, 0);
        EXPECT_FALSE(device.seek(INT64_MAX, 1));
        EXPECT_EQ(device.tell(), 4);
        kxIoDeviceByteContainerReadOnly other(data, 4);
        EXPECT_FALSE(other.seek(INT64_MIN, 2));
        EXPECT_EQ(other.tell(), 0);
    }
    {
        kxIoDeviceByteContainerReadOnly device(data, 4);
        EXPECT_EQ(device.writeBytes("x", 1), 0);
        EXPECT_EQ(device.getDeviceErrorMsg(), "Write is not supported");
        EXPECT_TRUE(device.writeBackToDevice() == false);
    }
}

TEST(NullWriteOnly, CountsBytesAndNeverReads)
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

    kxIoDeviceNullWriteOnly reader;
    char c;
    EXPECT_EQ(reader.readBytes(&c, 1), 0);
    EXPECT_EQ(reader.getDeviceErrorMsg(), "readBytes is not supported");
}

TEST(ByteContainerWriteOnly, AppendsToCallerStorage)
{
    std::string text = "pre:";
    kxIoDeviceByteContainerWriteOnly toString(text);
    EXPECT_EQ(toString.writeBytes("abc", 3), 3);
    EXPECT_EQ(toString.writeBytes(std::string("\0z", 2).data(), 2), 2);
    EXPECT_EQ(text, std::string("pre:abc\0z", 9));
    EXPECT_EQ(toString.writeBytes("abc", 0), 0);

    std::vector<char> bytes;
    kxIoDeviceByteContainerWriteOnly toVector(bytes);
    EXPECT_EQ(toVector.writeBytes("xy", 2), 2);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "xy");
    char c;
    EXPECT_EQ(toVector.readBytes(&c, 1), 0);
    EXPECT_EQ(toVector.getDeviceErrorMsg(), "readBytes is not supported");
}

TEST(FileStream, WriteReadSeekAndMissingFiles)
{
    char path[] = "/tmp/kxsvg_system_fileXXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
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
    std::remove(path);
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
    EXPECT_EQ(kxStringUtils::fromFloatImpl(0.0f, 20, 2), "0");
    EXPECT_EQ(kxStringUtils::fromFloatImpl(-0.0f, 20, 2), "-0");
    EXPECT_EQ(kxStringUtils::fromFloatImpl(1.0f, 20, 2), "1");
    EXPECT_EQ(kxStringUtils::fromFloatImpl(0.1f, 20, 2), "0.1");
    EXPECT_EQ(kxStringUtils::fromFloatImpl(-1.5f, 20, 2), "-1.5");
    EXPECT_EQ(kxStringUtils::fromFloatImpl(100.0f, 20, 2), "100");
    EXPECT_EQ(kxStringUtils::fromFloatImpl(123456.7f, 20, 2), "123456.7");
    EXPECT_EQ(kxStringUtils::fromFloatImpl(0.00015f, 20, 2), "0.00015");
    EXPECT_EQ(kxStringUtils::fromFloatImpl(1e20f, 20, 2), "100000000000000000000");
    EXPECT_EQ(kxStringUtils::fromFloatImpl(1e-7f, 20, 2), "0.0000001");
    EXPECT_EQ(kxStringUtils::fromFloatImpl(3.4028235e38f, 20, 2), "340282350000000000000000000000000000000");
    EXPECT_EQ(kxStringUtils::fromFloatImpl(1.0f / 3.0f, 20, 2), "0.33333334");
    EXPECT_EQ(kxStringUtils::fromFloatImpl(1.0f / 3.0f, 3, 2), "0.333");
    EXPECT_EQ(kxStringUtils::fromFloatImpl(INFINITY, 20, 2), "inf");

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

TEST(StringUtils, Utf8Validation)
{
    EXPECT_TRUE(kxStringUtils::IsUtf8String(""));
    EXPECT_TRUE(kxStringUtils::IsUtf8String("plain ascii"));
    EXPECT_TRUE(kxStringUtils::IsUtf8String("caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80"));
    EXPECT_TRUE(kxStringUtils::IsUtf8String(std::string("a\0b", 3)));
    EXPECT_TRUE(kxStringUtils::IsUtf8String("\xf4\x8f\xbf\xbf")); // U+10FFFF
    EXPECT_FALSE(kxStringUtils::IsUtf8String("\xc3"));             // truncated
    EXPECT_FALSE(kxStringUtils::IsUtf8String("\x80"));             // lone continuation
    EXPECT_FALSE(kxStringUtils::IsUtf8String("\xc0\xaf"));         // overlong "/"
    EXPECT_FALSE(kxStringUtils::IsUtf8String("\xe0\x80\xaf"));     // overlong
    EXPECT_FALSE(kxStringUtils::IsUtf8String("\xed\xa0\x80"));     // surrogate
    EXPECT_FALSE(kxStringUtils::IsUtf8String("\xf4\x90\x80\x80")); // above U+10FFFF
    EXPECT_FALSE(kxStringUtils::IsUtf8String("\xff"));
    EXPECT_FALSE(kxStringUtils::IsUtf8String("ok\xe2\x82"));
}

TEST(DirUtils, LastExtensionWithoutDot)
{
    EXPECT_EQ(kxDirUtils::ExtractFileExtension("picture.svg", true, 1), "svg");
    EXPECT_EQ(kxDirUtils::ExtractFileExtension("/a/b/Picture.SVG", true, 1), "SVG");
    EXPECT_EQ(kxDirUtils::ExtractFileExtension("archive.svg.svgz", true, 1), "svgz");
    EXPECT_EQ(kxDirUtils::ExtractFileExtension("archive.tar.gz", false, 1), ".gz");
    EXPECT_EQ(kxDirUtils::ExtractFileExtension("archive.tar.gz", true, 2), "tar.gz");
    EXPECT_EQ(kxDirUtils::ExtractFileExtension("noext", true, 1), "");
    EXPECT_EQ(kxDirUtils::ExtractFileExtension("dir.d/noext", true, 1), "");
    EXPECT_EQ(kxDirUtils::ExtractFileExtension("dir.d\\noext", true, 1), "");
    EXPECT_EQ(kxDirUtils::ExtractFileExtension("trailing.", true, 1), "");
    EXPECT_EQ(kxDirUtils::ExtractFileExtension(".hidden", true, 1), "hidden");
    EXPECT_EQ(kxDirUtils::ExtractFileExtension("", true, 1), "");
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

TEST(LibInitCounter, FirstAndLastCallsAreReported)
{
    kx::impl::LibInitCounter counter("test", true);
    EXPECT_TRUE(counter.incrementInitCounter());
    EXPECT_FALSE(counter.incrementInitCounter());
    EXPECT_EQ(counter.getCount(), 2);
    EXPECT_FALSE(counter.decrementInitCounter());
    EXPECT_TRUE(counter.decrementInitCounter());
    kxtest::LogCapture capture;
    EXPECT_FALSE(counter.decrementInitCounter()); // unbalanced: logged, no change
    EXPECT_EQ(counter.getCount(), 0);
    ASSERT_EQ(capture.entries().size(), 1u);
    EXPECT_EQ(capture.entries()[0].level, 2);

    // Concurrent pairs keep the count balanced, and exactly one call sees each edge.
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
