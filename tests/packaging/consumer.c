#include <qxsapssf/qx_algorithms.h>
#include <qxsapssf/ssf.h>
#include <stdio.h>

int main(void) {
  SAP_B8* version = NULL;
  SsfOctetlen length = 0;
  const int made = SsfVersion(&version, &length) == 0 && length > 0;
  const int known = QXGetDefaultGostHashAlgId("1.2.643.7.1.1.1.1") == 0x8021;
  printf("%.*s", (int)length, made ? (const char*)version : "");
  return made && known && SsfDELSsfOctetstring(&version, &length) == 0 ? 0 : 1;
}
