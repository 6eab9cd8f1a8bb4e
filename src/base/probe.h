/// \file
/// Marks for tools that look into a running process (bpftrace, perf, gdb): each is one instruction that does nothing, and
/// a note in the library's file that tells where it stands and where its arguments are.
///
/// NBI_PROBE(push, m_nNumber, pTask) makes the mark nbiutil:push. The arguments are values that are at hand: what takes a
/// step to find out would cost that step always. Without NBIUTIL_PROBES, which a build has to ask for, there is nothing.
#pragma once

#ifdef NBIUTIL_PROBES
#define SDT_USE_VARIADIC
#include <sys/sdt.h>
#ifdef __clang__
#pragma clang diagnostic ignored "-Wgnu-zero-variadic-macro-arguments"  // of the macros in sys/sdt.h
#endif
#define NBI_PROBE(name, ...) STAP_PROBEV(nbiutil, name, __VA_ARGS__)
#else
#define NBI_PROBE(name, ...) static_cast<void>(0)
#endif
