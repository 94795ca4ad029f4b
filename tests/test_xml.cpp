// test_xml.cpp - the XML layer: SAX events over libxml2's push parser, the
// handler's verdicts, diagnostics, hostile input, and the save context.
#include <kx/system/kxCancel.h>
#include <kx/system/kxIoDevice.h>
#include <kx/xml/Xml.h>

#include <libxml/xmlwriter.h>

#include <gtest/gtest.h>

#include "TestSupport.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <sys/inotify.h>
#include <unistd.h>
#include <vector>

using kx::xml::ParseXmlStream;
using kx::xml::XmlAttribute;

namespace {

// Records every event as one line; consecutive character events are merged,
// since libxml2 may split text at chunk borders.
class RecordingHandler : public kx::xml::XmlSaxParserHandler {
public:
    std::vector<std::string> events;
    std::vector<int> severities;
    std::string skipName;    // startElement answers 1 for this name
    std::string stopName;    // startElement answers 2 for this name
    std::string failEndName; // endElement answers false for this name
    bool acceptWarnings = true;
    bool throwOnStart = false;
    int elementCount = 0;
    bool recordElements = true;

    bool startDocument() override
    {
        events.push_back("start-document");
        return true;
    }
    bool endDocument() override
    {
        events.push_back("end-document");
        return true;
    }
    int startElement(const char* name, const std::vector<XmlAttribute>& attributes) override
    {
        ++elementCount;
        if (throwOnStart)
            throw std::runtime_error("handler failure");
        if (recordElements) {
            std::string line = std::string("start ") + name;
            for (const XmlAttribute& a : attributes)
                line += " {" + std::string(a.name) + "|" + std::string(a.prefix) + "|" + std::string(a.value) + "}";
            events.push_back(line);
        }
        return name == skipName ? 1 : name == stopName ? 2 : 0;
    }
    bool endElement(const char* name) override
    {
        if (recordElements)
            events.push_back(std::string("end ") + name);
        return name != failEndName;
    }
    bool characters(const char* text, int length) override
    {
        if (!recordElements)
            return true;
        if (!events.empty() && events.back().rfind("text ", 0) == 0)
            events.back().append(text, static_cast<size_t>(length));
        else
            events.push_back("text " + std::string(text, static_cast<size_t>(length)));
        return true;
    }
    bool message(const std::string& text, int severity) override
    {
        events.push_back("message " + std::to_string(severity) + " " + text);
        severities.push_back(severity);
        return severity == 4 && acceptWarnings;
    }
};

bool parseText(const std::string& xml, RecordingHandler& handler, const kxCancelInterface* cancel = nullptr)
{
    kxIoDeviceByteContainerReadOnly device(xml.data(), xml.size());
    return ParseXmlStream(device, handler, cancel);
}

class CountingCancel : public kxCancelInterface {
public:
    explicit CountingCancel(int answerTrueAfter) : m_after(answerTrueAfter) {}
    mutable int polls = 0;
    bool shouldCancel() const override { return ++polls > m_after; }
    void cancel() override {}

private:
    int m_after;
};

// A device whose second read fails.
class FailingDevice : public kxIoDeviceByteContainerReadOnly {
public:
    FailingDevice() : kxIoDeviceByteContainerReadOnly("<root><a>", 9) {}
    int64_t readBytes(void* buffer, int64_t count) override
    {
        if (m_reads++ == 0) return kxIoDeviceByteContainerReadOnly::readBytes(buffer, count);
        setDeviceError("disk on fire");
        return 0;
    }

private:
    int m_reads = 0;
};

} // namespace

// Golden cases: tests/data/xml/<case>.xml beside <case>.events, the events the
// recording handler saw (one a line, line breaks in text as "\n") and the
// parse's result. In a case named skip_<e>, stop_<e> or failend_<e> the handler
// skips or stops at element <e> or fails its end tag; warning_refused refuses
// warnings; every other case accepts all.
TEST(XmlParse, GoldenCases)
{
    const std::string dir = std::string(KXSVG_TEST_DATA_DIR) + "/xml";
    std::vector<std::string> cases;
    for (const auto& entry : std::filesystem::directory_iterator(dir))
        if (entry.path().extension() == ".xml") cases.push_back(entry.path().stem().string());
    ASSERT_GE(cases.size(), 20u) << "golden cases missing in " << dir;
    for (const std::string& name : cases) {
        std::string xml;
        ASSERT_TRUE(kxtest::readFile(dir + "/" + name + ".xml", xml)) << name;
        RecordingHandler h;
        const std::string verdict = name.substr(0, name.find('_')), element = name.substr(name.find('_') + 1);
        if (verdict == "skip") h.skipName = element;
        if (verdict == "stop") h.stopName = element;
        if (verdict == "failend") h.failEndName = element;
        h.acceptWarnings = name != "warning_refused";
        const bool ok = parseText(xml, h);
        std::string text;
        for (const std::string& e : h.events) {
            for (char c : e) text += c == '\n' ? std::string("\\n") : std::string(1, c);
            text += "\n";
        }
        kxtest::ExpectGolden(text + (ok ? "result: true\n" : "result: false\n"), dir + "/" + name + ".events");
        // A failure the handler did not choose comes with a message; only a whole parse ends the document.
        EXPECT_TRUE(ok || !h.severities.empty() || verdict == "stop" || verdict == "failend") << name;
        EXPECT_EQ(std::count(h.events.begin(), h.events.end(), "end-document"), ok ? 1 : 0) << name;
    }
    RecordingHandler h;
    EXPECT_FALSE(parseText(std::string(100000, '<'), h));
    EXPECT_FALSE(h.severities.empty());
}

TEST(XmlParse, EntityBombsFailWithAMessage)
{
    // About a megabyte of references that would expand to gigabytes: nested
    // entities (a billion laughs), and one large entity in text, comments or
    // attribute values, whether or not the handler skips the element holding it.
    std::string laughs = "<!DOCTYPE r [<!ENTITY lol0 \"lol\">";
    for (int i = 1; i <= 9; ++i) {
        laughs += "<!ENTITY lol" + std::to_string(i) + " \"";
        for (int k = 0; k < 10; ++k) laughs += "&lol" + std::to_string(i - 1) + ";";
        laughs += "\">";
    }
    const std::string big = "<!DOCTYPE r [<!ENTITY big \"" + std::string(10000, 'x') + "\">]>";
    const std::string amplification = "Maximum entity amplification factor exceeded";
    const struct {
        std::string doctype, reference, skip, message;
    } cases[] = {
        {laughs + "]>", "&lol9;", "", "Detected an entity reference loop"},
        {big, "&big;", "", amplification},
        {big, "&big;", "a", amplification},
        {"<!DOCTYPE r [<!ENTITY big \"<!--" + std::string(10000, 'c') + "-->\">]>", "&big;", "", amplification},
        {big, "<e v='&big;'/>", "", amplification},
    };
    for (const auto& c : cases) {
        std::string xml = c.doctype + "<r><a>";
        while (xml.size() < 1024 * 1024) xml += c.reference;
        RecordingHandler h;
        h.recordElements = false;
        h.skipName = c.skip;
        EXPECT_FALSE(parseText(xml + "</a></r>", h)) << c.reference;
        ASSERT_FALSE(h.events.empty());
        EXPECT_EQ(h.events.back(), "message 3 " + c.message) << c.reference;
    }
    // Modest use of entities stays well inside the allowance.
    std::string xml = "<!DOCTYPE r [<!ENTITY ns \"http://www.w3.org/2000/svg\">]><r>";
    for (int i = 0; i < 2000; ++i) xml += "<g a='&ns;'>&ns;</g>";
    RecordingHandler h;
    h.recordElements = false;
    EXPECT_TRUE(parseText(xml + "</r>", h));
}

TEST(XmlParse, ExternalEntitiesAreNeverLoaded)
{
    char path[] = "/tmp/kxsvg_xml_secretXXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    const std::string secret = "TOP-SECRET-CONTENT";
    ASSERT_EQ(write(fd, secret.data(), secret.size()), static_cast<ssize_t>(secret.size()));
    close(fd);
    const std::string uri = std::string("file://") + path;
    // Every open of the file is seen by inotify, whoever makes it.
    const int watcher = inotify_init1(IN_NONBLOCK);
    ASSERT_GE(watcher, 0);
    ASSERT_GE(inotify_add_watch(watcher, path, IN_OPEN | IN_ACCESS), 0);

    const std::vector<std::string> documents = {
        "<!DOCTYPE svg [<!ENTITY xxe SYSTEM \"" + uri + "\">]><svg>&xxe;</svg>",
        "<!DOCTYPE svg [<!ENTITY xxe SYSTEM \"" + uri + "\">]><svg a=\"&xxe;\"/>",
        "<!DOCTYPE svg [<!ENTITY % pe SYSTEM \"" + uri + "\"> %pe;]><svg>x</svg>",
        "<!DOCTYPE svg SYSTEM \"" + uri + "\"><svg>&undefinedHere;</svg>",
        "<!DOCTYPE svg PUBLIC \"-//W3C//DTD SVG 1.1//EN\" \"" + uri + "\"><svg>&undefinedHere;</svg>",
    };
    for (const std::string& xml : documents) {
        RecordingHandler h;
        const bool ok = parseText(xml, h);
        std::string all;
        for (const std::string& e : h.events)
            all += e + "\n";
        EXPECT_EQ(all.find(secret), std::string::npos) << xml;
        EXPECT_FALSE(h.severities.empty()) << xml;
        if (xml.find("&xxe;") != std::string::npos) {
            EXPECT_FALSE(ok) << xml;
            EXPECT_NE(all.find("Entity 'xxe' not defined"), std::string::npos) << all;
        }
    }
    char events[4096];
    EXPECT_LT(read(watcher, events, sizeof events), 0) << "the entity file was opened";
    close(watcher);
    std::remove(path);
}

TEST(XmlParse, CancelIsPolledBetweenChunks)
{
    {
        kxtest::GeneratedDocument device("<root>", "<item x=\"1.5\">text</item>\n", 100000, "</root>");
        RecordingHandler h;
        h.recordElements = false;
        CountingCancel cancel(2);
        EXPECT_FALSE(ParseXmlStream(device, h, &cancel));
        EXPECT_EQ(cancel.polls, 3);
        EXPECT_LT(device.produced, 4 * 64 * 1024 + 1);
        EXPECT_EQ(h.events, std::vector<std::string>{"start-document"});
    }
    {
        // A flag raised before the parse stops even a one-chunk document.
        bool flag = true;
        kxCancelInterfaceProxy cancel(&flag, nullptr, nullptr);
        RecordingHandler h;
        EXPECT_FALSE(parseText("<a/>", h, &cancel));
        EXPECT_EQ(std::count(h.events.begin(), h.events.end(), "end-document"), 0);
    }
}

TEST(XmlParse, DeviceErrorsAndHandlerExceptions)
{
    {
        FailingDevice device;
        RecordingHandler h;
        EXPECT_FALSE(ParseXmlStream(device, h, nullptr));
        const std::vector<std::string> expected = {"start-document", "start root", "start a",
                                                   "message 3 disk on fire"};
        EXPECT_EQ(h.events, expected);
    }
    {
        // A device that fails at once: its message, and nothing else.
        kxIoDeviceNullWriteOnly writeOnly;
        RecordingHandler h;
        EXPECT_FALSE(ParseXmlStream(writeOnly, h, nullptr));
        EXPECT_EQ(h.events, std::vector<std::string>{"message 3 readBytes is not supported"});
    }
    {
        RecordingHandler h;
        h.throwOnStart = true;
        EXPECT_THROW(parseText("<a><b/></a>", h), std::runtime_error);
        EXPECT_EQ(h.elementCount, 1);
    }
}

TEST(XmlParse, MalformedInputsNeverCrash)
{
    const std::vector<std::string> inputs = {
        std::string("\0\0\0\0", 4), "<", "<a", "<a b=", "<a b='x", "<a>&", "<a>&#xFFFFFFFF;</a>", "<a>\xff\xfe</a>",
        "\xef\xbb\xbf<a/>", "<a/><b/>", "<?xml version='1.0' encoding='bogus'?><a/>", "<!DOCTYPE", "]]>",
        "<a xmlns:p='u' p:x='1' p:x='2'/>", std::string(100000, '<')};
    for (const std::string& xml : inputs) {
        RecordingHandler h;
        const bool ok = parseText(xml, h);
        if (xml == "\xef\xbb\xbf<a/>") {
            EXPECT_TRUE(ok);
        } else {
            EXPECT_FALSE(ok) << xml.substr(0, 40);
            EXPECT_FALSE(h.severities.empty()) << xml.substr(0, 40);
        }
        EXPECT_EQ(std::count(h.events.begin(), h.events.end(), "end-document"), ok ? 1 : 0);
    }
}

// The save context buffers the writer's output until a flush reaches the
// threshold; formatted output indents (a device that refuses the bytes:
// test_diagnostics).
TEST(XmlSave, WriterBufferFlushThresholdAndFormat)
{
    kx::xml::XmlSaveContext ctx(false);
    std::string out;
    kxIoDeviceByteContainerWriteOnly device(out);
    ASSERT_GE(xmlTextWriterStartDocument(ctx.getWriter(), "1.0", "utf-8", nullptr), 0);
    ASSERT_GE(xmlTextWriterStartElement(ctx.getWriter(), BAD_CAST "svg"), 0);
    ASSERT_GE(xmlTextWriterWriteAttribute(ctx.getWriter(), BAD_CAST "a", BAD_CAST "x&y<"), 0);
    EXPECT_TRUE(ctx.flushBufferToDevice(device, 8192));
    EXPECT_EQ(out, "");
    EXPECT_GT(ctx.getBufferedSize(), 0u);
    ASSERT_GE(xmlTextWriterStartElement(ctx.getWriter(), BAD_CAST "g"), 0);
    EXPECT_TRUE(ctx.flushBufferToDevice(device, 10));
    // The writer keeps a start tag open for attributes that may follow.
    EXPECT_EQ(out, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg a=\"x&amp;y&lt;\"><g");
    EXPECT_EQ(ctx.getBufferedSize(), 0u);
    ASSERT_GE(xmlTextWriterEndDocument(ctx.getWriter()), 0);
    EXPECT_TRUE(ctx.flushBufferToDevice(device, 0));
    EXPECT_EQ(out, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg a=\"x&amp;y&lt;\"><g/></svg>\n");

    kx::xml::XmlSaveContext formatted(true);
    ASSERT_GE(xmlTextWriterStartElement(formatted.getWriter(), BAD_CAST "svg"), 0);
    ASSERT_GE(xmlTextWriterStartElement(formatted.getWriter(), BAD_CAST "g"), 0);
    ASSERT_GE(xmlTextWriterEndDocument(formatted.getWriter()), 0);
    out.clear();
    EXPECT_TRUE(formatted.flushBufferToDevice(device, 0));
    EXPECT_EQ(out, "<svg>\n <g/>\n</svg>\n");
}

TEST(XmlLibrary, InitialisationNests)
{
    kx::xml::initializeXmlLibrary();
    kx::xml::initializeXmlLibrary();
    kx::xml::finalizeXmlLibrary();
    kxtest::LogCapture capture;
    kx::xml::finalizeXmlLibrary();
    kx::xml::finalizeXmlLibrary(); // unbalanced: logged and otherwise ignored
    EXPECT_EQ(capture.messages(), std::vector<std::string>{"Library 'xml' terminated more often than initialised"});
    RecordingHandler h;
    EXPECT_TRUE(parseText("<a/>", h));
}
