#pragma once

#include <cstddef>

#include "link/memory.h"
#include "link/packets.h"

namespace qsolve {

/// A block of sections on its way to the client: head and sections one after another, each from a
/// multiple of 8 bytes. Without memory, adding ends in Fatal with kMsgOutOfMemory.
class SectionBlock {
  public:
    SectionBlock();

    /// Appends a section of nDoubles doubles and returns its place, filled with zeros. The place
    /// holds until the next section is added. Null, and no section, where its bytes do not fit in
    /// the word that counts them.
    double* Add(int nKind, std::size_t nDoubles);

    /// Appends a record of the wire, whose size is a multiple of 8 bytes.
    template <class Record>
    void AddRecord(int nKind, const Record& record) {
        static_assert(sizeof record % sizeof(double) == 0);
        Copy(&record, sizeof record, Add(nKind, sizeof record / sizeof(double)));
    }

    /// Sends the block in packets of type kPacketPrecise. May unwind as SendPacket does.
    void Send();

  private:
    static void Copy(const void* pRecord, std::size_t nBytes, double* pPlace);
    double* Extend(std::size_t nDoubles);

    Array<double> vWords_;
    std::size_t nUsed_ = 0;
    int nSections_ = 0;
};

}  // namespace qsolve
