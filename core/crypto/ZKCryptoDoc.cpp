#include "ZKCryptoDoc.h"

namespace qv {

void ZKCryptoDoc::updateChangeCount(int change) {
    if (change == kChangeDone) edited_ = true;
    else if (change == kChangeCleared) edited_ = false;
}

}  // namespace qv
