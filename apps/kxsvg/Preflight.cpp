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
    options.honorFillRule = args.fillRule;
    std::string output;
    kx::svg::PreflightReport report;
    const bool ok = kx::svg::PreflightSvg(bytes, options, output, report);
    // The report goes to standard error so that the document can go to standard output.
    if (!args.quiet || !ok) std::cerr << report.toText();
    if (!ok) return ExitFailed;
    if (!writeOutput(args.output, output, error)) {
        std::cerr << "kxsvg: " << error << "\n";
        return ExitFailed;
    }
    return ExitOk;
}

} // namespace kxsvg
