/*
 * benchcontext.h: what the benchmarks of mvbench share: the runtime servers
 * (the one --servers names, the embedded one by default) with the sample plant
 * loaded, a stream of point changes, the clearing away of the event boxes a
 * benchmark's receivers make, and the pairing of each measurement with its
 * baseline for the summary.
 */
#ifndef MVBENCH_BENCHCONTEXT_H
#define MVBENCH_BENCHCONTEXT_H

#include <set>
#include <string>

namespace mvbench {

/* Puts the process on the runtime server that --servers names, connected,
 * with the sample plant loaded (once per server). */
void ensurePlant();

/* The same on the embedded server whatever --servers says: the rows that
 * measure this program's own work (packing, unpacking, the embedded change
 * distribution) give the same figures in a run against Redis. */
void ensureEmbeddedPlant();

/* Loads the sample plant again, over records a benchmark overwrote. */
void reloadPlant();

/* The process's resident memory now, in MB; -1 when it cannot be read. By
 * default all of it (VmRSS); "RssAnon" is the part that is not mapped from
 * files, which leaves out the library code a first burst pages in. */
double residentMb(const char* field = "VmRSS");

/* count publishing partial writes that flip the state of 500 status points
 * (round makes each call's values differ from the last's); false at the
 * first write that fails (the rest are not written). */
bool writeStatusChanges(int count, int round);

/* The same count changes written batch at a time, one publishing
 * PutPartialDataPoints per batch; false if a batch failed (the rest are not
 * written). */
bool writeStatusChangeBatches(int count, int batch, int round, int first = 0);

/* The event boxes made while it lives (a change event receiver leaves its
 * box behind when it stops): named by queued(), and deleted when it goes
 * away, so that a later benchmark's changes do not pile up in boxes nobody
 * reads. */
class NewBoxes
{
public:
    NewBoxes();
    ~NewBoxes();
    NewBoxes(const NewBoxes&) = delete;
    NewBoxes& operator=(const NewBoxes&) = delete;

    /* Records waiting now in the new boxes of the event kind. */
    long queued(int kind) const;

private:
    std::set<std::string> m_before;
};

/* Declares that the benchmark named measured is to be compared with the one
 * named baseline; how to read the ratio is said by meaning. With per, the
 * name of a counter both report, each time is divided by it (the cost per
 * point of two plant sizes, for instance). */
void pairWithBaseline(const std::string& measured, const std::string& baseline, const std::string& meaning,
                      const std::string& per = std::string());

/* The plant-scale rows (plantbench.cpp), registered once the server is
 * known, since their names say which one it is; and the removal of the
 * plants they loaded, after the run. */
void registerPlantBenchmarks();
void removePlantBenchmarkData();

} // namespace mvbench

#endif
