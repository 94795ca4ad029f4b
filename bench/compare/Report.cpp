// Report.cpp - every figure printed as it comes and kept for the Markdown table.
#include "Compare.h"

#include <cstdio>
#include <fstream>

namespace kxcompare {
namespace {

struct Row {
    std::string area, figure, value, goal, verdict, note;
};
std::vector<Row> gRows;

} // namespace

std::string Fixed(double v, int decimals)
{
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
    return buf;
}

void AddRow(const std::string& area, const std::string& figure, const std::string& value, const std::string& goal,
            int verdict, const std::string& note)
{
    const char* verdicts[] = {"", "met", "NOT met"};
    gRows.push_back(Row{area, figure, value, goal, verdicts[verdict], note});
    std::printf("%-14s %-58s %14s  goal %-10s %-7s %s\n", area.c_str(), figure.c_str(), value.c_str(), goal.c_str(),
                verdicts[verdict], note.c_str());
    std::fflush(stdout);
}

void WriteMarkdown(const std::string& path)
{
    std::ofstream out(path);
    out << "| Area | Figure | Measured | Goal | Verdict | Note |\n";
    out << "|---|---|---:|---|---|---|\n";
    for (const Row& row : gRows)
        out << "| " << row.area << " | " << row.figure << " | " << row.value << " | " << row.goal << " | " << row.verdict
            << " | " << row.note << " |\n";
}

} // namespace kxcompare
