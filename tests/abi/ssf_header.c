/* The public headers are whole by themselves, and C11. */
#include "qxsapssf/ssf.h"
/* (each before anything that could help it) */
#include "qxsapssf/qx_algorithms.h"
#include "tests/abi/record_layout.h"
