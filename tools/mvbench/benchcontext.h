/*
 * benchcontext.h: what the benchmarks of mvbench share: the embedded runtime
 * server with the sample plant loaded, and the pairing of each measurement
 * with its baseline for the summary.
 */
#ifndef MVBENCH_BENCHCONTEXT_H
#define MVBENCH_BENCHCONTEXT_H

#include <string>

namespace mvbench {

/* Connects to the embedded server and loads the sample plant, once. */
void ensurePlant();

/* Declares that the benchmark named measured is to be compared with the one
 * named baseline; how to read the ratio is said by meaning. */
void pairWithBaseline(const std::string& measured, const std::string& baseline, const std::string& meaning);

} // namespace mvbench

#endif
