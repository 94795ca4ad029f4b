// CompareText.cpp - the text side: the path-data number scanner against
// strtof_l on the same tokens, and the save of the large drawings.
#include "Compare.h"

#include "write/SaveDocument.h"

#include <kx/svg/Options.h>
#include <kx/svg/PathParser.h>
#include <kx/system/kxIoDevice.h>

#include <clocale>
#include <list>
#include <locale.h>
#include <cstdlib>

namespace kxcompare {

using namespace kx::svg;

void CompareNumbers(const std::vector<LargeFile>& files)
{
    std::printf("\n== path numbers ==\n");
    std::vector<std::string> paths;
    for (const LargeFile& f : files)
        for (std::string& d : ExtractPathData(f.bytes)) paths.push_back(std::move(d));
    // Number tokens, each NUL-terminated for strtof_l.
    std::string tokenText;
    std::vector<std::pair<std::size_t, std::size_t>> tokens;
    for (const std::string& d : paths) {
        const char* p = d.data();
        const char* end = p + d.size();
        while (p < end) {
            const std::size_t n = NumberToken(p, end);
            if (n == 0) {
                ++p;
                continue;
            }
            tokens.emplace_back(tokenText.size(), n);
            tokenText.append(p, n);
            tokenText.push_back('\0');
            p += n;
        }
    }
    locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
    std::vector<double> tStrtof, tScan, tFull, tFastFloat;
    std::size_t scanned = 0;
    std::size_t parsedPaths = 0;
    float sink = 0;
    for (int r = 0; r < gRounds; ++r) {
        double t = CpuSeconds();
        for (const auto& tk : tokens) sink += strtof_l(tokenText.data() + tk.first, nullptr, cLocale);
        tStrtof.push_back(CpuSeconds() - t);

        // The scanner as the reader runs it: over the text in place, numbers
        // handed over per command.
        std::size_t numbers = 0;
        t = CpuSeconds();
        for (const std::string& d : paths) {
            PathVisitorStrToTokens scanner(d.data(), d.data() + d.size(),
                                           [&](char, std::vector<float>&& values) { numbers += values.size(); });
            try {
                scanner.visit();
            } catch (...) {
            }
        }
        tScan.push_back(CpuSeconds() - t);
        scanned = numbers;

        // The whole conversion into commands.
        std::size_t ok = 0;
        t = CpuSeconds();
        for (const std::string& d : paths) {
            std::list<Path::Command> commands;
            try {
                if (ConvertPathStringToCommands(d, commands, nullptr)) ++ok;
            } catch (...) {
            }
        }
        tFull.push_back(CpuSeconds() - t);
        parsedPaths = ok;
    }
    freelocale(cLocale);
    const double count = double(tokens.size());
    const double strtofRate = count / Median(tStrtof) / 1e6;
    const double scanRate = double(scanned) / Median(tScan) / 1e6;
    const double fullRate = double(scanned) / Median(tFull) / 1e6;
    AddRow("path numbers", "path-data scanner (M numbers/s)", Fixed(scanRate, 1), ">= 40", Verdict(scanRate >= 40),
           Fixed(double(scanned) / 1e6, 2) + " M numbers in " + std::to_string(paths.size()) + " paths");
    AddRow("path numbers", "scanner + command list (M numbers/s)", Fixed(fullRate, 1), "", 0,
           std::to_string(parsedPaths) + " paths valid");
    AddRow("path numbers", "strtof_l alone on the same tokens (M numbers/s)", Fixed(strtofRate, 1), "", 0,
           "scanner at " + Fixed(scanRate / strtofRate, 2) + "x strtof_l" + (sink == 1.2345f ? " " : ""));
}

void CompareSave(const std::vector<LargeFile>& files)
{
    std::printf("\n== save ==\n");
    double totalOut = 0;
    std::vector<double> total(gRounds, 0.0);
    for (const LargeFile& f : files) {
        ItemInterfacePointer<ItemInterface> root;
        if (!OurLoad(f.bytes, root) || !root) continue;
        std::string saved;
        std::vector<double> times;
        for (int r = 0; r < gRounds; ++r) {
            saved.clear();
            const double t = CpuSeconds();
            kxIoDeviceByteContainerWriteOnly device(saved);
            impl::SaveSvgDocument(*root, device, SaveOptions());
            times.push_back(CpuSeconds() - t);
            total[r] += times.back();
        }
        totalOut += double(saved.size());
        const double rate = double(saved.size()) / 1e6 / Median(times);
        AddRow("save", f.name + ": output (MB/s)", Fixed(rate, 1), ">= 60", Verdict(rate >= 60),
               Fixed(double(saved.size()) / 1e6, 1) + " MB written");
    }
    const double rate = totalOut / 1e6 / Median(total);
    AddRow("save", "all large files: output (MB/s)", Fixed(rate, 1), ">= 60", Verdict(rate >= 60));
}

} // namespace kxcompare
