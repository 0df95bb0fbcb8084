/*
 * autotest.h: internals that the middleware's own tests reach directly.
 *
 * The library is built with hidden visibility. A handful of internal rules
 * (the partial-write batch, the patch script and its arguments) are tested
 * on their own, not only through the public calls, and the readers of
 * outside text (the dictionary, a Redis address) are fuzzed on their own;
 * when the tests are built
 * those functions are exported under DRAVO_AUTOTEST_EXPORT, otherwise they
 * stay hidden like every other internal.
 */
#ifndef DRAVOPLUS_AUTOTEST_H
#define DRAVOPLUS_AUTOTEST_H

#ifdef DRAVOPLUS_AUTOTESTS
#define DRAVO_AUTOTEST_EXPORT __attribute__((visibility("default")))
#else
#define DRAVO_AUTOTEST_EXPORT
#endif

#endif
