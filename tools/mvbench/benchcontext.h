/*
 * benchcontext.h: what the benchmarks of mvbench share: the runtime server
 * (the embedded one unless --servers names another) with the sample plant
 * loaded, a stream of point changes, and the pairing of each measurement
 * with its baseline for the summary.
 */
#ifndef MVBENCH_BENCHCONTEXT_H
#define MVBENCH_BENCHCONTEXT_H

#include <string>

namespace mvbench {

/* Connects to the runtime server and loads the sample plant, once. */
void ensurePlant();

/* count publishing partial writes that flip the state of 500 status points
 * (round makes each call's values differ from the last's). */
void writeStatusChanges(int count, int round);

/* Declares that the benchmark named measured is to be compared with the one
 * named baseline; how to read the ratio is said by meaning. */
void pairWithBaseline(const std::string& measured, const std::string& baseline, const std::string& meaning);

} // namespace mvbench

#endif
