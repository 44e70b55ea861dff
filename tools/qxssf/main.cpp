#include "tools/common/tool.h"
#include "tools/qxssf/commands.h"

int main(int argc, char** argv) {
  qx::ssf::Program program;
  qx::ssf::addDigest(program);
  qx::ssf::addSign(program);
  qx::ssf::addAddSign(program);
  qx::ssf::addVerify(program);
  qx::ssf::addEnvelope(program);
  qx::ssf::addDevelope(program);
  qx::ssf::addEncode(program);
  qx::ssf::addDecode(program);
  qx::ssf::addVersion(program);
  qx::ssf::addProperties(program);
  qx::ssf::addExplain(program);
  qx::ssf::addDoctor(program);
  return program.tool.run(argc, argv);
}
