// Somebody else's function under a name of the platform.
extern "C" __attribute__((visibility("default"))) int CertAlgIdToOID() {
  return 0;
}
