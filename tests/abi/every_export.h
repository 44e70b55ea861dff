#ifndef QX_TESTS_ABI_EVERY_EXPORT_H_
#define QX_TESTS_ABI_EVERY_EXPORT_H_

#include <stddef.h>

/* One export and how it is tried: `symbol` is what dlsym gave; 0 when it behaved. */
struct export_trial {
  const char* name;
  int (*run)(void* symbol);
};

extern const struct export_trial kExportTrials[];
extern const size_t kExportTrialCount;

/* The freeing functions, which the trials use; set by the program after each load. */
extern void* gDeleteOctetstring;
extern void* gDeleteList;

#endif
