// Diagnostics never reach the process's standard error: every failure of a
// load, a preflight or a save comes back through the library's own channels,
// and libxml2 handlers a host program installed stay in place.
#include "TestSupport.h"

#include <kx/svg/IOManager.h>
#include <kx/svg/Items.h>
#include <kx/svg/Preflight.h>
#include <kx/system/kxIoDevice.h>

#include <libxml/globals.h>
#include <libxml/xmlerror.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

using namespace kx::svg;

namespace {

// Points file descriptor 2 at a pipe until `release`, which returns what was
// written there. The write end does not block: a flood is cut at the pipe's
// capacity instead of hanging the test.
class StandardErrorPipe {
public:
    StandardErrorPipe()
    {
        std::fflush(stderr);
        if (::pipe2(m_pipe, O_NONBLOCK) != 0) return;
        m_saved = ::dup(2);
        ::dup2(m_pipe[1], 2);
    }
    ~StandardErrorPipe() { release(); }
    bool isActive() const { return m_saved >= 0; }
    std::string release()
    {
        std::string text;
        if (m_saved < 0) return text;
        std::fflush(stderr);
        ::dup2(m_saved, 2);
        ::close(m_saved);
        ::close(m_pipe[1]);
        m_saved = -1;
        char buffer[4096];
        for (ssize_t got; (got = ::read(m_pipe[0], buffer, sizeof buffer)) > 0;) text.append(buffer, size_t(got));
        ::close(m_pipe[0]);
        return text;
    }

private:
    int m_pipe[2] = {-1, -1};
    int m_saved = -1;
};

// A host program's own libxml2 handlers, counting what reaches them.
int g_hostCalls = 0;
void HostGeneric(void*, const char*, ...) { ++g_hostCalls; }
void HostStructured(void*, xmlErrorPtr) { ++g_hostCalls; }
int g_hostContext = 0;

const std::string kOpen = "<svg xmlns=\"http://www.w3.org/2000/svg\">";

struct Case {
    const char* name;
    std::string text;
};

// Documents whose failures libxml2 raises in different places: through the
// parser context, through its global handlers (decoding, I/O), or both.
std::vector<Case> BadDocuments()
{
    const std::string eucJp = "<?xml version=\"1.0\" encoding=\"EUC-JP\"?>";
    const std::string shiftJis = "<?xml version=\"1.0\" encoding=\"Shift_JIS\"?>";
    return {
        {"bytes not valid in the declared encoding", eucJp + kOpen + "<text>\xff\xfe\xff\xfe</text></svg>"},
        {"bytes not valid UTF-8", kOpen + "<text>\xff\xfe</text></svg>"},
        {"truncated multi-byte sequence at the end", shiftJis + kOpen + "<text>\x82"},
        {"truncated UTF-8 sequence at the end", kOpen + "<text>\xe2\x82"},
        {"UTF-16 cut inside a character", std::string("\xff\xfe<\0s\0v\0g\0A", 11)},
        {"unknown encoding declared", "<?xml version=\"1.0\" encoding=\"x-no-such-encoding\"?>" + kOpen + "</svg>"},
        {"undefined entity", kOpen + "<text>&nope;</text></svg>"},
        {"entity loop", "<!DOCTYPE svg [<!ENTITY a \"&b;\"><!ENTITY b \"&a;\">]>" + kOpen + "<text>&a;</text></svg>"},
    };
}

} // namespace

TEST(Diagnostics, NothingReachesStandardErrorAndHostHandlersStay)
{
    initializeKxSvg();
    for (const bool hostHandlers : {false, true}) {
        SCOPED_TRACE(hostHandlers ? "with host handlers" : "with libxml2's default handlers");
        g_hostCalls = 0;
        if (hostHandlers) {
            xmlSetGenericErrorFunc(&g_hostContext, HostGeneric);
            xmlSetStructuredErrorFunc(&g_hostContext, HostStructured);
        }
        kxtest::LogCapture log;
        StandardErrorPipe pipe;
        ASSERT_TRUE(pipe.isActive());

        for (const Case& c : BadDocuments()) {
            SCOPED_TRACE(c.name);
            kxIoDeviceByteContainerReadOnly device(c.text.data(), c.text.size());
            ItemInterfacePointer<ItemInterface> root;
            std::list<std::string> messages;
            EXPECT_FALSE(kxSvgIOManager::get()->loadSvg(root, device, "svg", nullptr, nullptr, &messages));
            EXPECT_FALSE(messages.empty());

            std::string output;
            PreflightReport report;
            EXPECT_FALSE(PreflightSvg(c.text, PreflightOptions(), output, report));
            EXPECT_EQ(report.total(PreflightChange::Failed), 1u);
        }
        // What libxml2 raised outside its parser is logged, not printed.
        const std::vector<std::string> logged = log.messages();
        EXPECT_NE(std::find(logged.begin(), logged.end(),
                            "input conversion failed due to input error, bytes 0xFF 0xFE 0xFF 0xFE"),
                  logged.end());
        {
            // Devices that cannot be read or written.
            kxIoDeviceNullWriteOnly unreadable;
            ItemInterfacePointer<ItemInterface> root;
            std::list<std::string> messages;
            EXPECT_FALSE(kxSvgIOManager::get()->loadSvg(root, unreadable, "svg", nullptr, nullptr, &messages));
            EXPECT_EQ(messages, std::list<std::string>{"readBytes is not supported"});
            kxIoDeviceByteContainerReadOnly unwritable("", 0);
            log.clear();
            EXPECT_FALSE(kxSvgIOManager::get()->saveSvg(Document(), unwritable, "svg", nullptr, nullptr, nullptr));
            EXPECT_EQ(log.messages(), std::vector<std::string>{"Writing the output failed: Write is not supported"});
        }

        EXPECT_EQ(pipe.release(), "");
        if (hostHandlers) {
            EXPECT_EQ(g_hostCalls, 0);
            EXPECT_EQ(xmlGenericError, &HostGeneric);
            EXPECT_EQ(xmlGenericErrorContext, &g_hostContext);
            EXPECT_EQ(xmlStructuredError, &HostStructured);
            EXPECT_EQ(xmlStructuredErrorContext, &g_hostContext);
            xmlSetGenericErrorFunc(nullptr, nullptr);
            xmlSetStructuredErrorFunc(nullptr, nullptr);
        }
    }
    terminateKxSvg();
}
