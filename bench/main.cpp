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

// Collects the runs and prints them as one table: a row per operation, input and size,
// a column per implementation.
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
            std::string const row = parts[0] + "|" + parts[2] + "|" + parts[3];
            std::string const& implementation = parts[1];
            if (m_rowIndex.find(row) == m_rowIndex.end()) {
                m_rowIndex[row] = m_rows.size();
                m_rows.push_back({parts[0], parts[2], parts[3], {}});
            }
            Row& target = m_rows[m_rowIndex[row]];

            auto const rate = run.counters.find("bytes_per_second");
            std::string cell;
            if (rate != run.counters.end()) {
                cell = format(rate->second.value / 1e6, 1);
            } else {
                cell = format(run.GetAdjustedCPUTime(), 1) + " " +
                       benchmark::GetTimeUnitString(run.time_unit);
            }
            addCell(target, implementation, cell);
            for (auto const& counter : run.counters) {
                if (counter.first != "bytes_per_second") {
                    addCell(target, implementation + " " + counter.first,
                            format(counter.second.value, 3));
                }
            }
            GetErrorStream() << run.benchmark_name() << ": " << cell << "\n";
        }
    }

    void Finalize() override {
        char date[32];
        std::time_t const now = std::time(nullptr);
        std::strftime(date, sizeof date, "%Y-%m-%d", std::localtime(&now));
        std::ostream& out = GetOutputStream();
        out << "Machine: " << processorModel() << ", " << m_cpus << " CPUs at "
            << format(m_mhz, 0) << " MHz. Date: " << date << ".\n";
        out << "Rates in MB/s of plain data (10^6 bytes per second); higher is better.\n\n";

        std::vector<std::string> header{"Operation", "Input", "Size"};
        header.insert(header.end(), m_columns.begin(), m_columns.end());
        std::vector<std::vector<std::string>> lines{header};
        for (Row const& row : m_rows) {
            std::vector<std::string> line{row.operation, row.input, row.size};
            for (std::string const& column : m_columns) {
                auto const cell = row.cells.find(column);
                line.push_back(cell == row.cells.end() ? "" : cell->second);
            }
            lines.push_back(line);
        }
        std::vector<std::size_t> widths(header.size(), 0);
        for (auto const& line : lines) {
            for (std::size_t i = 0; i < line.size(); ++i) {
                widths[i] = std::max(widths[i], line[i].size());
            }
        }
        for (std::size_t n = 0; n < lines.size(); ++n) {
            out << "|";
            for (std::size_t i = 0; i < lines[n].size(); ++i) {
                std::string const& text = lines[n][i];
                std::string const pad(widths[i] - text.size(), ' ');
                out << " " << (i < 3 ? text + pad : pad + text) << " |"; // numbers to the right
            }
            out << "\n";
            if (n == 0) {
                out << "|";
                for (std::size_t i = 0; i < widths.size(); ++i) {
                    out << (i < 3 ? ":" : "-") << std::string(widths[i], '-')
                        << (i < 3 ? "-|" : ":|");
                }
                out << "\n";
            }
        }
        out.flush();
    }

private:
    struct Row {
        std::string operation;
        std::string input;
        std::string size;
        std::map<std::string, std::string> cells;
    };

    void addCell(Row& row, std::string const& column, std::string const& value) {
        if (std::find(m_columns.begin(), m_columns.end(), column) == m_columns.end()) {
            m_columns.push_back(column);
        }
        row.cells[column] = value;
    }

    std::vector<Row> m_rows;
    std::map<std::string, std::size_t> m_rowIndex;
    std::vector<std::string> m_columns;
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
