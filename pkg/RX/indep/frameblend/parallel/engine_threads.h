// Borrowed workers of the retiming engine. The engine starts no threads: it
// runs a function once on every worker of the host's generic iterate, reached
// through the "RX Iterate8 Suite", and lets each operator learn its worker
// number. A worker that fails makes the others report 516 to the host.
#pragma once

#include <atomic>
#include <cstdint>

#include "ADDN/ADDN.h"
#include "RX_Config.h"
#include "RX_Results.h"

// Entries of the worker id table; workers numbered beyond it take no part.
inline constexpr int32_t RX_EngineMaxWorkers = 256;
// Arguments carried to a dispatched function.
inline constexpr int32_t RX_EngineMaxArguments = 6;
// Thrown when the iterate suite cannot be acquired.
inline constexpr RX_Err RX_EngineMissingSuite = 13;

// The host's basic suite, stored by the render at its start.
extern const ADDN_QLBasicSuite* RX_EngineBasicSuite;
// Workers reported by the host; -1 until first asked.
extern std::atomic<int32_t> RX_EngineThreadCount;
// OS thread id of each worker index, rewritten by every dispatch.
extern std::atomic<uint32_t> RX_EngineThreadIds[RX_EngineMaxWorkers];
// Non-zero while a dispatch runs.
extern std::atomic<int32_t> RX_EngineInParallel;
// Set when a worker of the running dispatch ended with an error.
extern std::atomic<uint8_t> RX_EngineWorkerFailed;

// A dispatched function receives the arguments given to the dispatch.
typedef void (*RX_EngineWorkFunc)(void* const* args);

// The OS id of the calling thread.
uint32_t RX_EngineCurrentThreadId();
// The number of workers, asking the host once through the iterate suite.
// A missing suite reports "missing suite." and throws 13.
int32_t RX_EngineThreadTotal();
// 0 outside a dispatch or with fewer than two workers; else the calling
// thread's index in the id table (0 if it is not there).
int32_t RX_EngineThreadIndex();
// Runs func once on every worker with up to six pointer arguments; returns
// false only for a null function. Errors of workers do not come back here:
// they make the other workers return 516 to the host's iterate.
bool RX_EngineParallelRun(RX_EngineWorkFunc func, int32_t arg_count, ...);
// Forgets the worker count, so that the next query asks the host again
// (the count is otherwise fixed after the first query). For tests and for
// a host whose worker count changed between renders.
void RXp_EngineForgetThreadCount();

