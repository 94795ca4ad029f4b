// test_xml.cpp - the XML layer: SAX events over libxml2's push parser, the
// handler's verdicts, diagnostics, hostile input, and the save context.
#include <kx/system/kxCancel.h>
#include <kx/system/kxIoDevice.h>
#include <kx/xml/Xml.h>

#include <libxml/xmlwriter.h>

#include <gtest/gtest.h>

#include "TestSupport.h"

#include <cstdio>
#include <fstream>
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
        if (!recordElements)
            return 0;
        std::string line = std::string("start ") + name;
        for (const XmlAttribute& a : attributes)
            line += " {" + std::string(a.name) + "|" + std::string(a.prefix) + "|" + std::string(a.value) + "}";
        events.push_back(line);
        if (name == skipName)
            return 1;
        if (name == stopName)
            return 2;
        return 0;
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

// `count` copies of an element inside a root element, never held in memory whole.
kxtest::GeneratedDocument Items(std::size_t count)
{
    return kxtest::GeneratedDocument("<root>", "<item x=\"1.5\" y=\"&amp;\">text</item>\n", count, "</root>");
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
class FailingDevice : public kxIoDevice {
public:
    int reads = 0;
    int64_t readBytes(void* buffer, int64_t count) override
    {
        ++reads;
        if (reads > 1) {
            setDeviceError("disk on fire");
            return 0;
        }
        const std::string head = "<root><a>";
        const int64_t n = std::min<int64_t>(count, static_cast<int64_t>(head.size()));
        std::copy(head.begin(), head.begin() + n, static_cast<char*>(buffer));
        return n;
    }
    int64_t writeBytes(const void*, int64_t) override { return 0; }
    bool isEndOfData() const override { return false; }
};

} // namespace

TEST(XmlParse, EventsNamesAndAttributes)
{
    RecordingHandler h;
    const std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                            "<svg:svg xmlns:svg=\"http://www.w3.org/2000/svg\" xmlns=\"http://www.w3.org/2000/svg\" "
                            "xmlns:sodipodi=\"http://sodipodi.sourceforge.net/DTD/sodipodi-0.dtd\" width=\"10\">"
                            "<sodipodi:namedview id=\"n\"/>"
                            "<svg:rect x=\"1\" xml:space=\"preserve\" a=\"&amp;&lt;&#65;\"/>"
                            "t&amp;x<![CDATA[<raw&>]]>"
                            "<!-- comment --><?pi data?>"
                            "</svg:svg>";
    EXPECT_TRUE(parseText(xml, h));
    const std::vector<std::string> expected = {
        "start-document",
        "start svg:svg {xmlns||http://www.w3.org/2000/svg} {width||10}",
        "start sodipodi:namedview {id||n}",
        "end sodipodi:namedview",
        "start svg:rect {x||1} {space|xml|preserve} {a||&<A}",
        "end svg:rect",
        "text t&x<raw&>",
        "end svg:svg",
        "end-document"};
    EXPECT_EQ(h.events, expected);
}

TEST(XmlParse, InternalEntitiesAreSubstituted)
{
    RecordingHandler h;
    const std::string xml = "<!DOCTYPE svg [<!ENTITY w \"wide\"><!ENTITY e \"<g id='&w;'/>\">]>"
                            "<svg a=\"&w;!\">&w;&e;</svg>";
    EXPECT_TRUE(parseText(xml, h));
    const std::vector<std::string> expected = {"start-document", "start svg {a||wide!}", "text wide",
                                               "start g {id||wide}",  "end g",               "end svg",
                                               "end-document"};
    EXPECT_EQ(h.events, expected);
}

TEST(XmlParse, SkipVerdictDeliversNothingOfTheElement)
{
    RecordingHandler h;
    h.skipName = "b";
    const std::string xml = "<a><b x=\"1\"><c><b/></c>inner<![CDATA[x]]></b>after<b/><d/></a>";
    EXPECT_TRUE(parseText(xml, h));
    const std::vector<std::string> expected = {"start-document", "start a", "start b {x||1}", "text after",
                                               "start b",        "start d", "end d",          "end a",
                                               "end-document"};
    EXPECT_EQ(h.events, expected);
}

TEST(XmlParse, StopVerdictAndFalseResultsEndTheParse)
{
    {
        RecordingHandler h;
        h.stopName = "b";
        EXPECT_FALSE(parseText("<a><b><c/></b>text<d/></a>", h));
        const std::vector<std::string> expected = {"start-document", "start a", "start b"};
        EXPECT_EQ(h.events, expected);
    }
    {
        RecordingHandler h;
        h.failEndName = "b";
        EXPECT_FALSE(parseText("<a><b/>text<c/></a>", h));
        const std::vector<std::string> expected = {"start-document", "start a", "start b", "end b"};
        EXPECT_EQ(h.events, expected);
    }
    {
        // Stopping inside an entity's replacement text stops the document too.
        RecordingHandler h;
        h.stopName = "g";
        EXPECT_FALSE(parseText("<!DOCTYPE a [<!ENTITY e \"<g/><g/>\">]><a>&e;<b/>&e;</a>", h));
        const std::vector<std::string> expected = {"start-document", "start a", "start g"};
        EXPECT_EQ(h.events, expected);
    }
}

TEST(XmlParse, ErrorsReachMessageAndStop)
{
    {
        RecordingHandler h;
        EXPECT_FALSE(parseText("", h));
        // libxml2's push parser reports a document that never started this way.
        const std::vector<std::string> expected = {"message 3 Extra content at the end of the document"};
        EXPECT_EQ(h.events, expected);
    }
    {
        RecordingHandler h;
        EXPECT_FALSE(parseText("<a><b></a><c/>", h));
        const std::vector<std::string> expected = {
            "start-document", "start a", "start b",
            "message 3 Opening and ending tag mismatch: b line 1 and a"};
        EXPECT_EQ(h.events, expected);
    }
    {
        // Unclosed root: libxml2 reports it, and endDocument never comes.
        RecordingHandler h;
        EXPECT_FALSE(parseText("<a><b/>", h));
        ASSERT_EQ(h.events.size(), 5u);
        EXPECT_EQ(h.events.back(), "message 3 Extra content at the end of the document");
    }
    {
        // An undeclared prefix is a (non-fatal) namespace error: it still stops.
        RecordingHandler h;
        EXPECT_FALSE(parseText("<a><x:b/><c/></a>", h));
        const std::vector<std::string> expected = {"start-document", "start a",
                                                   "message 2 Namespace prefix x on b is not defined"};
        EXPECT_EQ(h.events, expected);
    }
}

TEST(XmlParse, WarningsHaveSeverityFourAndMayContinue)
{
    const std::string xml = "<svg xmlns=\"relative\"><g/></svg>";
    {
        RecordingHandler h;
        EXPECT_TRUE(parseText(xml, h));
        const std::vector<std::string> expected = {"start-document", "message 4 xmlns: URI relative is not absolute",
                                                   "start svg {xmlns||relative}", "start g", "end g", "end svg",
                                                   "end-document"};
        EXPECT_EQ(h.events, expected);
    }
    {
        RecordingHandler h;
        h.acceptWarnings = false;
        EXPECT_FALSE(parseText(xml, h));
        const std::vector<std::string> expected = {"start-document",
                                                   "message 4 xmlns: URI relative is not absolute"};
        EXPECT_EQ(h.events, expected);
    }
}

TEST(XmlParse, BillionLaughsFailsWithAMessage)
{
    std::string xml = "<?xml version=\"1.0\"?>\n<!DOCTYPE lolz [\n<!ENTITY lol \"lol\">\n";
    for (int i = 1; i <= 9; ++i) {
        xml += "<!ENTITY lol" + std::to_string(i) + " \"";
        for (int k = 0; k < 10; ++k)
            xml += "&lol" + (i == 1 ? std::string() : std::to_string(i - 1)) + ";";
        xml += "\">\n";
    }
    xml += "]>\n<lolz>";
    // About a megabyte of references to the largest entity.
    while (xml.size() < 1024 * 1024)
        xml += "&lol9;";
    xml += "</lolz>";

    RecordingHandler h;
    h.recordElements = false;
    EXPECT_FALSE(parseText(xml, h));
    ASSERT_FALSE(h.severities.empty());
    EXPECT_NE(h.severities.back(), 4);
    EXPECT_EQ(h.events.back(), "message 3 Detected an entity reference loop");
}

TEST(XmlParse, QuadraticBlowupFailsWithAMessage)
{
    // One large entity referenced many times: about 1 GB of events from 1 MB,
    // whether the expansion is text, comments or attribute values, and
    // whether or not the handler skips the element holding it.
    struct Case {
        std::string entity;
        std::string reference;
        std::string skip;
    };
    const std::vector<Case> cases = {
        {std::string(10000, 'x'), "&big;", ""},
        {std::string(10000, 'x'), "&big;", "a"},
        {"<!--" + std::string(10000, 'c') + "-->", "&big;", ""},
        {std::string(10000, 'v'), "<e v='&big;'/>", ""},
    };
    for (const Case& c : cases) {
        std::string xml = "<!DOCTYPE r [<!ENTITY big \"" + c.entity + "\">]><r><a>";
        while (xml.size() < 1024 * 1024)
            xml += c.reference;
        xml += "</a></r>";
        RecordingHandler h;
        h.recordElements = c.skip.empty();
        h.skipName = c.skip;
        EXPECT_FALSE(parseText(xml, h)) << c.reference;
        ASSERT_FALSE(h.events.empty());
        EXPECT_EQ(h.events.back(), "message 3 Maximum entity amplification factor exceeded") << c.reference;
    }
    // Modest use of entities stays well inside the allowance.
    std::string xml = "<!DOCTYPE r [<!ENTITY ns \"http://www.w3.org/2000/svg\">]><r>";
    for (int i = 0; i < 2000; ++i)
        xml += "<g a='&ns;'>&ns;</g>";
    xml += "</r>";
    RecordingHandler h;
    h.recordElements = false;
    EXPECT_TRUE(parseText(xml, h));
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

TEST(XmlParse, LargeDocumentStreamsInChunks)
{
    kxtest::GeneratedDocument device = Items(200000); // about 7.6 MB
    RecordingHandler h;
    h.recordElements = false;
    EXPECT_TRUE(ParseXmlStream(device, h, nullptr));
    EXPECT_EQ(h.elementCount, 200001);
    EXPECT_GT(device.produced, 7000000);
    EXPECT_LE(device.largestRequest, 64 * 1024);
    EXPECT_EQ(h.events.back(), "end-document");
}

TEST(XmlParse, CancelIsPolledBetweenChunks)
{
    {
        kxtest::GeneratedDocument device = Items(100000);
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

TEST(XmlSave, WriterBufferAndFlushThreshold)
{
    kx::xml::XmlSaveContext ctx(false);
    ASSERT_NE(ctx.getWriter(), nullptr);
    EXPECT_FALSE(ctx.getFormatOutput());
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
}

TEST(XmlSave, FormattedOutputAndDeviceFailure)
{
    kx::xml::XmlSaveContext ctx(true);
    EXPECT_TRUE(ctx.getFormatOutput());
    ASSERT_GE(xmlTextWriterStartDocument(ctx.getWriter(), "1.0", "utf-8", nullptr), 0);
    ASSERT_GE(xmlTextWriterStartElement(ctx.getWriter(), BAD_CAST "svg"), 0);
    ASSERT_GE(xmlTextWriterStartElement(ctx.getWriter(), BAD_CAST "g"), 0);
    ASSERT_GE(xmlTextWriterEndDocument(ctx.getWriter()), 0);
    std::vector<char> out;
    kxIoDeviceByteContainerWriteOnly device(out);
    EXPECT_TRUE(ctx.flushBufferToDevice(device, 0));
    EXPECT_EQ(std::string(out.begin(), out.end()),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg>\n <g/>\n</svg>\n");

    // A device that refuses the bytes makes the flush fail.
    kx::xml::XmlSaveContext second(false);
    ASSERT_GE(xmlTextWriterStartElement(second.getWriter(), BAD_CAST "svg"), 0);
    kxIoDeviceByteContainerReadOnly readOnly("", 0);
    EXPECT_FALSE(second.flushBufferToDevice(readOnly, 0));
}

TEST(XmlLibrary, InitialisationNests)
{
    kx::xml::initializeXmlLibrary();
    kx::xml::initializeXmlLibrary();
    kx::xml::finalizeXmlLibrary();
    RecordingHandler h;
    EXPECT_TRUE(parseText("<a/>", h));
    kx::xml::finalizeXmlLibrary();
    {
        kxtest::LogCapture capture;
        kx::xml::finalizeXmlLibrary(); // unbalanced: logged and otherwise ignored
        EXPECT_EQ(capture.messages(), std::vector<std::string>{"Library 'xml' terminated more often than initialised"});
    }
    RecordingHandler again;
    EXPECT_TRUE(parseText("<a/>", again));
}
