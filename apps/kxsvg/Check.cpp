// Check.cpp - "kxsvg check": load and segment many files, then summarise.
#include "Commands.h"
#include "Common.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <map>
#include <regex>
#include <unistd.h>

namespace fs = std::filesystem;

namespace kxsvg {
namespace {

struct FileResult {
    std::string path;
    bool loaded = false;
    int fillFailures = 0;
    double milliseconds = 0.0;
    std::string reason;
};

// Files given by name are taken whatever their extension; folders are searched
// for *.svg (any case).
std::vector<std::string> collectFiles(const std::vector<std::string>& paths)
{
    std::vector<std::string> files;
    for (const std::string& path : paths) {
        std::error_code ec;
        if (fs::is_directory(path, ec)) {
            std::vector<std::string> found;
            for (fs::recursive_directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
                if (it->is_regular_file(ec) && lowerExtension(it->path().string()) == "svg")
                    found.push_back(it->path().string());
            }
            std::sort(found.begin(), found.end());
            files.insert(files.end(), found.begin(), found.end());
        } else {
            files.push_back(path);
        }
    }
    return files;
}

// Groups messages that differ only in the values they quote, so the summary
// counts reasons rather than individual files.
std::string reasonOf(const std::string& message)
{
    static const std::regex valueQuote("(with value|Failed to parse value|Failed to parse color|transform attribute) "
                                       "\"[^\"]*\"");
    static const std::regex pathTail("^(Malformed path attribute, [^@:]*?)( @| at position| :).*$");
    std::string reason = std::regex_replace(message, pathTail, "$1");
    reason = std::regex_replace(reason, valueQuote, "$1 \"…\"");
    if (reason.size() > 160) reason = reason.substr(0, 157) + "...";
    return reason;
}

class Progress {
public:
    explicit Progress(std::size_t total) : m_total(total), m_terminal(isatty(fileno(stderr)) != 0) {}
    void update(std::size_t done)
    {
        if (m_terminal) {
            const int width = 40;
            int filled = m_total ? static_cast<int>(width * done / m_total) : width;
            std::cerr << "\r[" << std::string(filled, '#') << std::string(width - filled, '.') << "] " << done << "/"
                      << m_total << std::flush;
            if (done == m_total) std::cerr << "\n";
        } else if (done % 1000 == 0 || done == m_total) {
            std::cerr << "checked " << done << "/" << m_total << "\n";
        }
    }

private:
    std::size_t m_total;
    bool m_terminal;
};

} // namespace

int runCheck(const CheckArgs& args)
{
    std::vector<std::string> files = collectFiles(args.paths);
    if (files.empty()) throw UsageError("no SVG file found in the given paths");

    std::vector<FileResult> results;
    results.reserve(files.size());
    Progress progress(files.size());
    for (const std::string& file : files) {
        FileResult result;
        result.path = file;
        auto start = std::chrono::steady_clock::now();
        LoadedDrawing drawing = loadFile(file, args.strict, args.preflight);
        result.loaded = drawing.loaded;
        if (drawing.loaded) {
            Flattened flat = flatten(drawing.root, args.segmentation);
            result.fillFailures = flat.fillFailures;
        } else {
            result.reason = drawing.messages.empty() ? "load failed without a message"
                                                     : reasonOf(drawing.messages.back());
        }
        result.milliseconds =
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        results.push_back(std::move(result));
        progress.update(results.size());
    }

    std::size_t loaded = 0, fillFailures = 0, filesWithFillFailures = 0;
    std::map<std::string, std::size_t> reasons;
    for (const FileResult& r : results) {
        if (r.loaded) ++loaded;
        else ++reasons[r.reason];
        fillFailures += static_cast<std::size_t>(r.fillFailures);
        if (r.fillFailures) ++filesWithFillFailures;
    }
    std::size_t failed = results.size() - loaded;
    auto percent = [&](std::size_t n) {
        return results.empty() ? 0.0 : 100.0 * double(n) / double(results.size());
    };

    std::cout << std::fixed << std::setprecision(1);
    std::cout << "files          " << results.size() << "\n";
    std::cout << "loaded         " << loaded << " (" << percent(loaded) << "%)\n";
    std::cout << "failed         " << failed << " (" << percent(failed) << "%)\n";
    std::cout << "fill failures  " << fillFailures << " in " << filesWithFillFailures << " files\n";
    if (!reasons.empty()) {
        std::vector<std::pair<std::string, std::size_t>> sorted(reasons.begin(), reasons.end());
        std::stable_sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
        std::cout << "\nfailures by reason\n";
        for (const auto& [reason, count] : sorted) std::cout << std::setw(8) << count << "  " << reason << "\n";
    }
    if (filesWithFillFailures) {
        std::cout << "\nfiles with failed fills\n";
        for (const FileResult& r : results)
            if (r.fillFailures) std::cout << std::setw(8) << r.fillFailures << "  " << r.path << "\n";
    }
    std::vector<const FileResult*> slowest;
    for (const FileResult& r : results) slowest.push_back(&r);
    std::size_t shown = std::min<std::size_t>(slowest.size(), static_cast<std::size_t>(std::max(args.slowest, 0)));
    std::partial_sort(slowest.begin(), slowest.begin() + shown, slowest.end(),
                      [](const FileResult* a, const FileResult* b) { return a->milliseconds > b->milliseconds; });
    if (shown) {
        std::cout << "\nslowest files (ms)\n";
        for (std::size_t i = 0; i < shown; ++i)
            std::cout << std::setw(10) << slowest[i]->milliseconds << "  " << slowest[i]->path << "\n";
    }
    return failed ? ExitFailed : ExitOk;
}

} // namespace kxsvg
