/* every_export LIBRARY MAP: loads the library, finds every name of its map with dlsym and tries it, and
 * unloads it; then does so again. */
#include "tests/abi/every_export.h"

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

static int fail(const char* what, const char* detail) {
  fprintf(stderr, "%s: %s\n", what, detail == NULL ? "" : detail);
  return 1;
}

static const struct export_trial* find_trial(const char* name) {
  for (size_t i = 0; i < kExportTrialCount; ++i) {
    if (strcmp(kExportTrials[i].name, name) == 0) {
      return &kExportTrials[i];
    }
  }
  return NULL;
}

static int try_export(void* library, const char* name) {
  const struct export_trial* trial = find_trial(name);
  if (trial == NULL) {
    return fail("no trial for an export", name);
  }
  void* symbol = dlsym(library, name);
  if (symbol == NULL) {
    return fail("not exported", name);
  }
  return trial->run(symbol) == 0 ? 0 : fail("misbehaves", name);
}

/* The names of a version map, one a line between global: and local:. */
static int try_all(void* library, FILE* map, int* count) {
  char line[256];
  char name[256];
  int in_global = 0;
  while (fgets(line, sizeof(line), map) != NULL) {
    if (strstr(line, "global:") != NULL) {
      in_global = 1;
    } else if (strstr(line, "local:") != NULL) {
      in_global = 0;
    } else if (in_global && sscanf(line, " %255[A-Za-z0-9_];", name) == 1) {
      if (try_export(library, name) != 0) {
        return 1;
      }
      ++*count;
    }
  }
  return 0;
}

static int run_round(const char* path, const char* map_path, int* count) {
  void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) {
    return fail("dlopen", dlerror());
  }
  gDeleteOctetstring = dlsym(library, "SsfDELSsfOctetstring");
  gDeleteList = dlsym(library, "SsfDELSigRcpSsfInfoList");
  FILE* map = fopen(map_path, "r");
  if (map == NULL || gDeleteOctetstring == NULL || gDeleteList == NULL) {
    return fail("cannot start", map_path);
  }
  const int bad = try_all(library, map, count);
  (void)fclose(map);
  if (dlclose(library) != 0) {
    return fail("dlclose", dlerror());
  }
  if (dlopen(path, RTLD_NOW | RTLD_NOLOAD) != NULL) {
    return fail("still loaded after dlclose", path);
  }
  return bad;
}

int main(int argc, char** argv) {
  if (argc != 3) {
    return fail("usage", "every_export LIBRARY MAP");
  }

  enum { kRounds = 3 };

  int count = 0;
  for (int round = 0; round < kRounds; ++round) {
    if (run_round(argv[1], argv[2], &count) != 0) {
      return 1;
    }
  }
  if (count == 0) {
    return fail("no exports in", argv[2]);
  }
  printf("%d exports tried in each of %d rounds\n", count / kRounds, (int)kRounds);
  return 0;
}
