// Several threads use the library at once, each with its own driver and its
// own trees: every thread must get exactly what a lone thread gets. Run under
// ThreadSanitizer (build-tsan) this also proves there is no hidden shared
// mutable state besides the IO manager, the init counter and the log.
#include "TestSupport.h"

#include <kx/svg/BoundingBox.h>
#include <kx/svg/IOManager.h>
#include <kx/svg/Items.h>
#include <kx/svg/Library.h>
#include <kx/svg/Segmentation.h>
#include <kx/svg/SegmentedPrimitive.h>
#include <kx/system/kxIoDevice.h>
#include <kx/system/kxLog.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace kx::svg;

namespace {

std::string documentText(int variant)
{
    const char* const paths[] = {"M10 10 h80 v80 h-80 z M30 30 h40 v40 h-40 z",
                                 "M0 0 C10 -20 30 20 40 0 S70 -20 80 0 L80 50 L0 50 Z",
                                 "m5 5 a20 10 30 1 1 40 0 a20 10 30 0 1 -40 0 z", "M0,0 L100,0 L100,100 L0,100 Z",
                                 "M1e2 1e-1 l-5 5 5 5 5-5z m-50 0 .5.5-.5.5-.5-.5z"};
    std::string body = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 100 100\">";
    for (int i = 0; i < 40; ++i) {
        const std::string shift = std::to_string(i + variant);
        body += "<g transform=\"translate(" + shift + " 1) rotate(" + shift + ")\" fill=\"#1a2b3c\">";
        body += "<path d=\"" + std::string(paths[i % 5]) + "\"/>";
        body += "<rect x=\"" + shift + "\" y=\"2\" width=\"10\" height=\"5\"/>";
        body += "<circle cx=\"5\" cy=\"" + shift + "\" r=\"3\"/>";
        body += "<line x1=\"0\" y1=\"0\" x2=\"" + shift + "\" y2=\"9\"/>";
        body += "<text x=\"1\" y=\"2\">caf\xc3\xa9 " + shift + "</text>";
        body += "</g>";
    }
    return body + "</svg>";
}

// Everything one thread does, reduced to a text that must not depend on
// which thread produced it or what the others were doing.
std::string workload(int variant)
{
    std::string digest;

    // Load through this thread's own driver (path data, colours and lengths
    // are parsed on the way).
    kxSvgDriver driver;
    const std::string text = documentText(variant);
    kxIoDeviceByteContainerReadOnly device(text.data(), text.size());
    ItemInterfacePointer<ItemInterface> root;
    const bool loaded = driver.loadSvg(root, device, "svg", nullptr, LoadOptions());
    digest += "loaded " + std::to_string(loaded) + " messages " + std::to_string(driver.getMessageList().size()) + "\n";
    if (!root) return digest;

    // Save, measure and segment (filling through the triangulator) its own tree.
    std::string saved;
    kxIoDeviceByteContainerWriteOnly out(saved);
    SaveOptions saveOptions;
    saveOptions.writeFlag = false;
    digest += "saved " + std::to_string(driver.saveSvg(*root, out, "svg", nullptr, saveOptions)) + " " + saved + "\n";

    BoundingBox box;
    ComputeEstimatedBoundingBox(*root, box, nullptr, nullptr);
    digest += "box " + std::to_string(box.getMinPoint().X()) + " " + std::to_string(box.getMaxPoint().Y()) + "\n";

    SegmenterVisitor segmenter(static_cast<const Node&>(*root));
    size_t points = 0, triangles = 0;
    for (const auto& primitive : segmenter.getSegmentedPrimitives()) {
        points += primitive->points.size();
        triangles += primitive->triangleIndices.size();
        for (const auto& p : primitive->trianglePoints) {
            const float xy[2] = {p.X(), p.Y()};
            uint32_t bits[2];
            std::memcpy(bits, xy, sizeof bits);
            digest += std::to_string(bits[0] ^ (bits[1] << 1)) + ",";
        }
    }
    digest += "\nsegmented " + std::to_string(segmenter.getSegmentedPrimitives().size()) + " " +
              std::to_string(points) + " " + std::to_string(triangles) + " " + std::to_string(segmenter.hasError()) +
              "\n";
    return digest;
}

} // namespace

TEST(Threads, IndependentWorkInParallelMatchesOneThread)
{
    // Warnings (unfillable shapes, if any) are counted under a lock: the sink
    // runs on the logging thread.
    std::mutex logMutex;
    size_t logEntries = 0;
    kxLog::setSink([&](int, const std::string&, const std::string&) {
        std::lock_guard<std::mutex> lock(logMutex);
        ++logEntries;
    });

    initializeKxSvg();
    constexpr int kThreads = 4;
    constexpr int kRounds = 3;
    std::vector<std::string> expected;
    for (int variant = 0; variant < kThreads; ++variant) expected.push_back(workload(variant));
    for (const std::string& digest : expected) {
        EXPECT_NE(digest.find("loaded 1 messages 0"), std::string::npos) << digest;
        // 40 groups of a path, a rectangle, a circle and a line; no fill fails.
        EXPECT_NE(digest.find("segmented 160 "), std::string::npos) << digest;
        EXPECT_EQ(digest.substr(digest.size() - 3), " 0\n") << digest;
    }

    std::vector<std::vector<std::string>> results(kThreads);
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            while (!go.load()) std::this_thread::yield();
            for (int round = 0; round < kRounds; ++round) {
                // Nested start-up and shut-down from every thread while the others work.
                initializeKxSvg();
                results[static_cast<size_t>(t)].push_back(workload(t));
                terminateKxSvg();
            }
        });
    }
    go = true;
    for (std::thread& thread : threads) thread.join();
    terminateKxSvg();
    kxLog::setSink(nullptr);

    for (int t = 0; t < kThreads; ++t) {
        ASSERT_EQ(results[static_cast<size_t>(t)].size(), static_cast<size_t>(kRounds));
        for (const std::string& digest : results[static_cast<size_t>(t)])
            EXPECT_EQ(digest, expected[static_cast<size_t>(t)]) << "thread " << t;
    }
}
