#include "qxsapssf/identity/certificate_walk.h"

#include "qxsapssf/encoding.h"
#include "qxsapssf/trace.h"

namespace qx {

PCCERT_CONTEXT CertificateWalk::next() {
  for (;;) {
    // The search takes the previous certificate back, also when it finds no other.
    candidate_ = Certificate(CertFindCertificateInStore(store_->get(),
                                                        kEncoding,
                                                        /*dwFindFlags=*/0,
                                                        identity_->findType(),
                                                        identity_->findParameter(),
                                                        candidate_.release()));
    if (!candidate_) {
      return nullptr;
    }
    switch (identity_->match(*candidate_.get()->pCertInfo)) {
      case Identity::Match::Matches:
        return candidate_.get();
      case Identity::Match::Unreadable:
        QX_TRACE(function_, "#error#: Invalid certificate DN\n");
        record_->result = SSF_RESULT_NOT_OK;
        break;
      case Identity::Match::Differs:
        break;
    }
  }
}

}  // namespace qx
