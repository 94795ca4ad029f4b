// Preflight.cpp - "kxsvg preflight": rewrite any SVG into the strict subset and report the changes.
#include "Commands.h"
#include "Common.h"

#include <iostream>

namespace kxsvg {

int runPreflight(const PreflightArgs& args)
{
    std::string bytes, error;
    if (!readInput(args.input, bytes, error)) {
        std::cerr << "kxsvg: " << error << "\n";
        return ExitFailed;
    }
    kx::svg::PreflightOptions options;
    options.keepIds = !args.dropIds;
    options.approximatePaint = !args.noApproximation;
    options.splitCrossingSubpaths = !args.keepCrossing;
    options.honorFillRule = !args.ignoreFillRule;
    const kx::svg::PreflightResult result = kx::svg::PreflightBytes(bytes, options);
    // The report goes to standard error so that the document can go to standard output.
    if (!args.quiet || !result) std::cerr << result.report.toText();
    if (!result) {
        // Content that is not SVG at all never reaches the rewrite, so its report is empty.
        if (result.report.empty())
            for (const std::string& message : result.messages) std::cerr << args.input << ": " << message << "\n";
        return ExitFailed;
    }
    if (!writeOutput(args.output, result.text, error)) {
        std::cerr << "kxsvg: " << error << "\n";
        return ExitFailed;
    }
    return ExitOk;
}

} // namespace kxsvg
