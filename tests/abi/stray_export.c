/* A name that no map knows. */
__attribute__((visibility("default"))) int SsfStrayExport(void);

int SsfStrayExport(void) {
  return 1;
}
