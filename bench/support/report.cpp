#include "support/report.h"

#include <cstdio>
#include <map>

#include "support/peers.h"

namespace zelsr::bench {
namespace {

// Below this a row counts as behind, and says why.
constexpr double level = 0.97;

std::map<std::string, Result>& results()
{
    static std::map<std::string, Result> kept;
    return kept;
}

std::string ratio_text(double ratio)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", ratio);
    return text;
}

std::string limit_text(const Result& result)
{
    if (result.of_limit <= 0) return "";
    char text[32];
    std::snprintf(text, sizeof text, "%3.0f %% %s", 100 * result.of_limit, result.limiting.c_str());
    return text;
}

}  // namespace

void keep_result(const std::string& benchmark, const Result& result) { results()[benchmark] = result; }

bool TableReporter::ReportContext(const Context&)
{
    const Operations& rates = rates_per_ns();
    std::printf("peers: %s\n", peers_in_use().c_str());
    std::printf(
        "16-byte operations a ns: load %.1f, store %.1f, mul %.1f, add %.1f, div %.2f (doubles %.2f), sqrt of "
        "doubles %.2f\n",
        rates.loads, rates.stores, rates.multiplies, rates.adds, rates.divides, rates.double_divides,
        rates.double_roots);
    return true;
}

void TableReporter::ReportRuns(const std::vector<Run>& runs)
{
    for (const Run& run : runs) {
        const auto found = results().find(run.run_name.function_name);
        if (found == results().end()) continue;
        const Result& result = found->second;
        if (result.family != family_) {
            family_ = result.family;
            std::printf("\n%-34s %8s %10s %8s %-10s %7s %7s  %s\n", family_.c_str(), "size", "ns/call", "ns/elem",
                        "limit", "xplain", "xpeer", "peer");
        }
        ++rows_;
        if (!result.disagreement.empty()) {
            ++failures_;
            std::printf("%-34s %8s answers differ: %s\n", result.member.c_str(), result.size.c_str(),
                        result.disagreement.c_str());
            continue;
        }
        const bool behind_plain = result.plain_ratio < level;
        bool behind_peer = false;
        for (const Result::Peer& peer : result.peers) behind_peer = behind_peer || peer.ratio < level;
        behind_plain_ += behind_plain;
        behind_peers_ += behind_peer;
        const std::string reason = (behind_plain || behind_peer) && !result.reason.empty() ? result.reason : "";

        std::printf("%-34s %8s %10.1f %8.3f %-10s %7s", result.member.c_str(), result.size.c_str(), result.ns,
                    result.ns_an_element, limit_text(result).c_str(), ratio_text(result.plain_ratio).c_str());
        bool first = true;
        for (const Result::Peer& peer : result.peers) {
            if (!first) std::printf("\n%-34s %8s %10s %8s %-10s %7s", "", "", "", "", "", "");
            std::printf(" %7s  %-12s", ratio_text(peer.ratio).c_str(), peer.name.c_str());
            if (first) std::printf(" %s", reason.c_str());
            first = false;
        }
        if (result.peers.empty() && !reason.empty()) std::printf(" %7s  %-12s %s", "", "", reason.c_str());
        std::printf("\n");
        std::fflush(stdout);
    }
}

void TableReporter::Finalize()
{
    std::printf("\n%d rows: %d behind plain, %d behind a peer, %d with answers that differ\n", rows_,
                behind_plain_, behind_peers_, failures_);
}

}  // namespace zelsr::bench
