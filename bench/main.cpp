// The benchmark runner: brings the library up the way a host does, with static init
// objects, runs every registered benchmark and prints one table.
//
// Progress goes to standard error as each benchmark ends; the table, with the machine
// and the date above it, goes to standard output. The usual --benchmark_* options
// (filter, min_time, repetitions) work as ever.
#include "bench_support.h"

#include "klmfc/core/system.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

static K_KovmarInit s_kovmarInit;
static M_MathInit s_mathInit;

namespace {

std::vector<std::string> split(std::string const& name) {
    std::vector<std::string> parts;
    std::stringstream in(name);
    std::string part;
    while (std::getline(in, part, '/')) {
        if (part.find(':') == std::string::npos) { // drop "min_time:0.300" and the like
            parts.push_back(part);
        }
    }
    return parts;
}

std::string processorModel() {
    std::ifstream in("/proc/cpuinfo");
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind("model name", 0) == 0) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown processor";
}

std::string format(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

// Collects the runs and prints them as one table: a row per operation, input and size;
// the first implementation measured for the row next to the second, and how many times
// faster the first is.
class TableReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(Context const& context) override {
        m_cpus = context.cpu_info.num_cpus;
        m_mhz = context.cpu_info.cycles_per_second / 1e6;
        return true;
    }

    void ReportRuns(std::vector<Run> const& runs) override {
        for (Run const& run : runs) {
            if (run.error_occurred) {
                GetErrorStream() << run.benchmark_name() << ": " << run.error_message << "\n";
                continue;
            }
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") {
                continue;
            }
            std::vector<std::string> parts = split(run.run_name.str());
            while (parts.size() < 4) {
                parts.push_back("");
            }
            std::string const key = parts[0] + "|" + parts[2] + "|" + parts[3];
            if (m_rowIndex.find(key) == m_rowIndex.end()) {
                m_rowIndex[key] = m_rows.size();
                m_rows.push_back({parts[0], parts[2], parts[3], {}});
            }
            Measure const measure = measureOf(parts[1], run);
            m_rows[m_rowIndex[key]].measures.push_back(measure);
            GetErrorStream() << run.benchmark_name() << ": " << measure.text << "\n";
        }
    }

    void Finalize() override {
        char date[32];
        std::time_t const now = std::time(nullptr);
        std::strftime(date, sizeof date, "%Y-%m-%d", std::localtime(&now));
        std::ostream& out = GetOutputStream();
        out << "Machine: " << processorModel() << ", " << m_cpus << " CPUs at " << format(m_mhz, 0)
            << " MHz. Date: " << date << ".\n";
        out << "MB/s counts plain data (10^6 bytes per second). \"Speed-up\" is how many times "
               "faster the first implementation is than the second.\n\n";

        std::vector<std::vector<std::string>> lines{
            {"Operation", "Input", "Size", "First", "Result", "Second", "Result", "Speed-up"}};
        for (Row const& row : m_rows) {
            std::vector<std::string> line{row.operation, row.input, row.size};
            for (std::size_t i = 0; i < 2; ++i) {
                if (i < row.measures.size()) {
                    line.push_back(row.measures[i].implementation);
                    line.push_back(row.measures[i].text);
                } else {
                    line.push_back("");
                    line.push_back("");
                }
            }
            line.push_back(row.measures.size() >= 2 && row.measures[0].speed > 0 &&
                                   row.measures[1].speed > 0
                               ? format(row.measures[0].speed / row.measures[1].speed, 2)
                               : "");
            lines.push_back(line);
        }
        printTable(out, lines);
        out.flush();
    }

private:
    // One implementation's figures: a rate in MB/s when the benchmark counts bytes, else
    // items per second, else the time per iteration; any other counters behind it.
    struct Measure {
        std::string implementation;
        std::string text;
        double speed; // higher is faster
    };

    struct Row {
        std::string operation;
        std::string input;
        std::string size;
        std::vector<Measure> measures;
    };

    static Measure measureOf(std::string const& implementation, Run const& run) {
        Measure m{implementation, "", 0};
        auto const bytes = run.counters.find("bytes_per_second");
        auto const items = run.counters.find("items_per_second");
        if (bytes != run.counters.end()) {
            m.speed = bytes->second.value;
            m.text = format(m.speed / 1e6, 1) + " MB/s";
        } else if (items != run.counters.end()) {
            m.speed = items->second.value;
            m.text = format(m.speed / 1e6, 1) + " M items/s";
        } else {
            double const time = run.GetAdjustedCPUTime();
            m.speed = time > 0 ? 1 / time : 0;
            m.text = format(time, 1) + " " + benchmark::GetTimeUnitString(run.time_unit);
        }
        for (auto const& counter : run.counters) {
            if (counter.first != "bytes_per_second" && counter.first != "items_per_second") {
                m.text += ", " + counter.first + " " + format(counter.second.value, 3);
            }
        }
        return m;
    }

    static void printTable(std::ostream& out, std::vector<std::vector<std::string>> const& lines) {
        std::vector<std::size_t> widths(lines[0].size(), 0);
        for (auto const& line : lines) {
            for (std::size_t i = 0; i < line.size(); ++i) {
                widths[i] = std::max(widths[i], line[i].size());
            }
        }
        auto const numeric = [](std::size_t column) { return column == 4 || column >= 6; };
        for (std::size_t n = 0; n < lines.size(); ++n) {
            out << "|";
            for (std::size_t i = 0; i < lines[n].size(); ++i) {
                std::string const& text = lines[n][i];
                std::string const pad(widths[i] - text.size(), ' ');
                out << " " << (numeric(i) ? pad + text : text + pad) << " |";
            }
            out << "\n";
            if (n == 0) {
                out << "|";
                for (std::size_t i = 0; i < widths.size(); ++i) {
                    out << (numeric(i) ? "-" : ":") << std::string(widths[i], '-')
                        << (numeric(i) ? ":|" : "-|");
                }
                out << "\n";
            }
        }
    }

    std::vector<Row> m_rows;
    std::map<std::string, std::size_t> m_rowIndex;
    int m_cpus = 0;
    double m_mhz = 0;
};

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
