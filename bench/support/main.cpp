#include <benchmark/benchmark.h>
#include <cblas.h>

#include <vector>

#include "support/report.h"

int main(int argc, char** argv)
{
    openblas_set_num_threads(1);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    zelsr::bench::TableReporter table;
    benchmark::RunSpecifiedBenchmarks(&table);
    return table.failures() > 0 ? 1 : 0;
}
