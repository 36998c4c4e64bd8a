// Runs every benchmark and sets our figures beside the peer library's.
//
// With repetitions, a benchmark's figure is the median of its repetitions,
// which `make bench` runs in random order among all the benchmarks, so that
// a spell of load on the shared machine falls on ours and the peer's alike
// rather than on whichever ran at the time.
//
// Naming: a benchmark called "<job>/ours" is compared with every other
// benchmark "<job>/<label>" of the same job. A label that starts with
// "bound." is not a peer library but a floor of the same work (memcpy of the
// same bytes, say); its row carries an empty peer. The comparison table goes
// to standard output and, with --tsv=PATH, to a tab-separated file with the
// columns name, ours, peer, peer_value, unit, ratio (our time over theirs:
// below 1.0 we are faster).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

struct Figure {
  double microseconds;     // real time per iteration
  double itemsPerSecond;  // 0 when the benchmark counts no items
};

class CollectingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if (run.run_type == Run::RT_Iteration && run.repetitions > 1) continue;
      if (run.run_type == Run::RT_Aggregate && !median) continue;
      const double seconds = run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
      double items = 0;
      auto it = run.counters.find("items_per_second");
      if (it != run.counters.end()) items = it->second.value;
      figures[run.run_name.str()] = {seconds * 1e6, items};
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, Figure> figures;
};

struct Row {
  std::string name, peer;
  Figure ours, theirs;
};

std::vector<Row> PairUp(const std::map<std::string, Figure>& figures) {
  std::vector<Row> rows;
  for (const auto& [name, ours] : figures) {
    const size_t slash = name.rfind("/ours");
    if (slash == std::string::npos || slash + 5 != name.size()) continue;
    const std::string job = name.substr(0, slash);
    for (const auto& [other, theirs] : figures) {
      if (other.rfind(job + "/", 0) != 0 || other == name) continue;
      const std::string label = other.substr(job.size() + 1);
      if (label.find('/') != std::string::npos) continue;
      rows.push_back({job, label, ours, theirs});
    }
  }
  return rows;
}

void Print(const std::vector<Row>& rows, FILE* tsv) {
  std::printf("\n%-48s %12s %-22s %12s %8s\n", "comparison", "ours (us)", "peer", "peer (us)", "ratio");
  if (tsv != nullptr) std::fprintf(tsv, "name\tours\tpeer\tpeer_value\tunit\tratio\n");
  for (const Row& row : rows) {
    const double ratio = row.ours.microseconds / row.theirs.microseconds;
    const bool bound = row.peer.rfind("bound.", 0) == 0;
    const std::string name = bound ? row.name + " vs " + row.peer.substr(6) : row.name;
    std::printf("%-48s %12.2f %-22s %12.2f %8.3f", name.c_str(), row.ours.microseconds, row.peer.c_str(),
                row.theirs.microseconds, ratio);
    if (row.ours.itemsPerSecond > 0) std::printf("   (%.1f items/s)", row.ours.itemsPerSecond);
    std::printf("\n");
    if (tsv != nullptr) {
      std::fprintf(tsv, "%s\t%.3f\t%s\t%.3f\tus\t%.4f\n", name.c_str(), row.ours.microseconds,
                   bound ? "" : row.peer.c_str(), row.theirs.microseconds, ratio);
      if (row.ours.itemsPerSecond > 0) {
        std::fprintf(tsv, "%s per second\t%.3f\t\t%.3f\titems/s\t%.4f\n", name.c_str(), row.ours.itemsPerSecond,
                     row.theirs.itemsPerSecond, ratio);
      }
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::string tsvPath;
  std::vector<char*> arguments;
  for (int i = 0; i < argc; ++i) {
    if (std::strncmp(argv[i], "--tsv=", 6) == 0) {
      tsvPath = argv[i] + 6;
    } else {
      arguments.push_back(argv[i]);
    }
  }
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  CollectingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();

  FILE* tsv = tsvPath.empty() ? nullptr : std::fopen(tsvPath.c_str(), "w");
  if (!tsvPath.empty() && tsv == nullptr) std::fprintf(stderr, "corvane_bench: cannot write %s\n", tsvPath.c_str());
  Print(PairUp(reporter.figures), tsv);
  if (tsv != nullptr) {
    std::fclose(tsv);
    std::printf("\nwritten to %s\n", tsvPath.c_str());
  }
  return 0;
}
