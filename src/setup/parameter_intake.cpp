#include "setup/parameter_intake.h"

#include <cmath>
#include <cstring>
#include <utility>

#include "link/link.h"

namespace qsolve {

namespace {

constexpr int kOwnWordSize = 4;
constexpr int kShortRows = 54;  ///< rows of elements, and again of capping atoms, in a short table
constexpr int kHighestCode = 104;

double FiniteOrZero(double d) {
    return std::isfinite(d) ? d : 0.0;
}

/// Reads doubles one after the other from a block of bytes.
class Doubles {
  public:
    explicit Doubles(const unsigned char* pBytes) : pNext_(pBytes) {}

    void Read(int nCount, double* pOut) {
        for (int i = 0; i < nCount; ++i, pNext_ += sizeof(double)) {
            double d = 0.0;
            std::memcpy(&d, pNext_, sizeof d);
            pOut[i] = FiniteOrZero(d);
        }
    }

  private:
    const unsigned char* pNext_;
};

/// Row in the tables of a row of a short table, in which the capping atoms follow at once.
constexpr int RowOfShort(int i) {
    return i < kShortRows ? i : kCappingOffset + i - kShortRows;
}

/// Copies nCount doubles into the fields of a row of T from field nFirst on.
template <class T>
void ReadFields(Doubles* pBlock, int nFirst, int nCount, T* pRow) {
    double vRow[sizeof(T) / sizeof(double)];
    std::memcpy(vRow, pRow, sizeof vRow);
    pBlock->Read(nCount, vRow + nFirst);
    std::memcpy(pRow, vRow, sizeof vRow);
}

void DecodeCindo(Doubles block, ParameterState* pTables) {
    pTables->pCindoParams.Take(kRows, kIntake);
    for (int i = 0; i < 2 * kShortRows; ++i) {
        double w[12];
        block.Read(12, w);
        CindoRow& row = pTables->pCindoParams[RowOfShort(i)];
        row.dZetaS = w[0];
        row.dZetaP = w[1];
        row.dZetaD = w[2];
        row.dHalfIpEaS = w[3];
        row.dHalfIpEaP = w[4];
        row.dHalfIpEaD = w[5];
        row.dBeta = w[6];
        row.dSlaterF2 = w[7];
        row.dSlaterG1 = w[8];
        row.dAtomEnergyCndo = w[9];
        row.dAtomEnergyIndo = w[10];
        row.dHeatOfAtom = w[11];
    }
}

void DecodeNddo(int nMethod, Doubles block, ParameterState* pTables) {
    constexpr int kFields = sizeof(NddoRow) / sizeof(double);
    pTables->pNddoParams.Take(kRows, kIntake);
    for (NddoRow& row : pTables->pNddoParams) ReadFields(&block, 0, kNddoFirstSection, &row);
    for (NddoRow& row : pTables->pNddoParams)
        ReadFields(&block, kNddoFirstSection, kFields - kNddoFirstSection, &row);
    if (nMethod == kMindo3) pTables->pMindoPairs.Take(kMindoPairs, kIntake);
    if (nMethod != kAm1 && nMethod != kPm3) return;
    pTables->pGaussianParams.Take(kRows, kIntake);
    for (GaussianRow& row : pTables->pGaussianParams) ReadFields(&block, 0, 30, &row);
}

void DecodeZindo(int nMethod, Doubles block, ParameterState* pTables) {
    constexpr int kSections = 3;
    constexpr int kFirstField[kSections + 1] = {0, 13, 23, 32};
    pTables->pZindoParams.Take(kRows, kIntake);
    for (int k = 0; k < kSections; ++k)
        for (int i = 0; i < 2 * kShortRows; ++i)
            ReadFields(&block, kFirstField[k], kFirstField[k + 1] - kFirstField[k],
                       &pTables->pZindoParams[RowOfShort(i)]);
    if (nMethod != kZindoS) return;
    pTables->pZindosGamma.Take(kRows, kIntake);
    for (int i = 0; i < 2 * kShortRows; ++i)
        ReadFields(&block, 0, 3, &pTables->pZindosGamma[RowOfShort(i)]);
}

/// Row, counted from 1, of an element code; 0 for what is none.
int RowOfCode(double dCode) {
    if (!(std::abs(dCode) < kHighestCode + 1)) return 0;
    const int nCode = static_cast<int>(std::lround(dCode));
    if (nCode > kHighestCode || nCode < -kHighestCode) return 0;
    return nCode >= 0 ? nCode : kCappingOffset - nCode;
}

/// Pulls the bond pairs. Nothing is pulled after a count of 0.
void ReadMindoPairs(ParameterState* pTables) {
    int nPairs = 0;
    RequestWhole("count of bond pairs", &nPairs, sizeof nPairs);
    if (nPairs < 0 || nPairs > kMindoPairs) Fatal(kMsgPairCount, nPairs);
    if (nPairs == 0) return;
    Array<MindoPairRecord> records;
    records.Take(static_cast<std::size_t>(nPairs), kIntake);
    RequestWhole("bond pairs", records.Data(), nPairs * static_cast<int>(sizeof(MindoPairRecord)));
    for (const MindoPairRecord& record : records)
        if (!StoreMindoPair(record, pTables->pMindoPairs.Data())) ErrorFormat(kMsgBondPairCode);
}

void ReadBlock(ParameterState* pTables) {
    const int nMethod = pTables->nParameterMethod;
    const int nBytes = ParameterBlockBytes(nMethod);
    Array<unsigned char> block;
    block.Take(static_cast<std::size_t>(nBytes), kIntake);
    RequestWhole("parameters", block.Data(), nBytes);
    DecodeParameterBlock(nMethod, block.Data(), pTables);
}

}  // namespace

int ParameterBlockBytes(int nMethod) {
    switch (nMethod) {
        case kCndo:
        case kIndo:
            return kCindoBlockBytes;
        case kMindo3:
        case kMndo:
        case kMndoD:
            return kNddoBlockBytes;
        case kAm1:
        case kPm3:
            return kNddoBlockBytes + kGaussianBlockBytes;
        case kZindo1:
            return kZindo1BlockBytes;
        case kZindoS:
            return kZindosBlockBytes;
        default:
            return 0;
    }
}

void DecodeParameterBlock(int nMethod, const unsigned char* pBytes, ParameterState* pTables) {
    switch (FamilyOf(nMethod)) {
        case Family::kCndo:
            return DecodeCindo(Doubles(pBytes), pTables);
        case Family::kNddo:
            return DecodeNddo(nMethod, Doubles(pBytes), pTables);
        case Family::kZindo:
            return DecodeZindo(nMethod, Doubles(pBytes), pTables);
        case Family::kNone:
            return;
    }
}

bool StoreMindoPair(const MindoPairRecord& record, MindoPair* pTable) {
    const int nRow1 = RowOfCode(record.dCode1), nRow2 = RowOfCode(record.dCode2);
    if (nRow1 == 0 || nRow2 == 0) return false;
    MindoPair& pair = pTable[MindoPairIndex(nRow1, nRow2)];
    pair.dAlphaAB = FiniteOrZero(record.dAlphaAB);
    pair.dBetaAB = FiniteOrZero(record.dBetaAB);
    return true;
}

void ReadParameters() {
    ParameterState tables;
    int nWordSize = 0;
    RequestPacket(&nWordSize, sizeof nWordSize);
    tables.fForeignWordSize = nWordSize != kOwnWordSize;
    RequestWhole("parameter method", &tables.nParameterMethod, sizeof tables.nParameterMethod);
    if (tables.nParameterMethod < kExtendedHueckel || tables.nParameterMethod > kMndoD)
        Fatal(kMsgParameterMethod, tables.nParameterMethod);
    if (tables.nParameterMethod != kExtendedHueckel) ReadBlock(&tables);
    if (tables.nParameterMethod == kMindo3) ReadMindoPairs(&tables);
    parameters = std::move(tables);
}

}  // namespace qsolve
