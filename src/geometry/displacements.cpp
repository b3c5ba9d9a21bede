#include "geometry/displacements.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <optional>

#include "geometry/answer.h"
#include "geometry/image_rows.h"
#include "gradient/state.h"
#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"
#include "link/workers.h"
#include "numeric/row.h"
#include "properties/state.h"
#include "scf/scf.h"
#include "scf/start_point.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// The point about which the differences are taken. Given back at the end, however it comes.
struct ReferencePoint {
    Array<double> vCoords;
    Array<double> vGradient;  ///< and behind it the dipole; one-way differences only
    StartPoint Start;
    ScfRecord Account = scf.Account;
    ForceRecord Force = scf.Force;
    float flLimit = options.flConvergenceLimit;
    bool fFinalReport = setup.fFinalReport;

    explicit ReferencePoint(const DifferenceScheme& scheme) {
        vCoords.Take(system.pCoords.Size(), kWork);
        std::copy(system.pCoords.begin(), system.pCoords.end(), vCoords.begin());
        if (scheme.fForward) KeepGradient();
        KeepStartPoint(Start);
        options.flConvergenceLimit =
            std::min(options.flConvergenceLimit * scheme.flLimitFactor, scheme.flMostLimit);
        setup.fFinalReport = false;
        scf.fNearStart = true;
    }
    ~ReferencePoint() {
        scf.fNearStart = false;
        std::copy(vCoords.begin(), vCoords.end(), system.pCoords.begin());
        RestoreStartPoint(Start);
        scf.Account = Account;
        scf.Force = Force;
        options.flConvergenceLimit = flLimit;
        setup.fFinalReport = fFinalReport;
    }
    /// Enters the displaced points into the account that is given back: it is the same whoever
    /// computed them, and a point that was tried twice counts once.
    void Enter(const DifferenceReport& report) {
        Account.nRuns += report.nPoints;
        Account.nRunsSince += report.nPoints;
        Account.nUnconverged += report.nUnconverged;
        Account.nUnconvergedSince += report.nUnconverged;
        if (report.nOfMean > 0 && Force.nOfMean == 0) Force.nWhyFirst = report.nWhyMean;
        Force.nOfMean += report.nOfMean;
    }
    ReferencePoint(const ReferencePoint&) = delete;
    ReferencePoint& operator=(const ReferencePoint&) = delete;

  private:
    void KeepGradient() {
        const std::size_t n = gradient.pGradient.Size();
        vGradient.Take(n + 3, kWork);
        std::copy(gradient.pGradient.begin(), gradient.pGradient.end(), vGradient.begin());
        std::copy_n(properties.dDipoleTable[3], 3, vGradient.Data() + n);
    }
};

/// What one coordinate yields, behind the row of the matrix.
enum Tail { kDipoleX, kDipoleY, kDipoleZ, kCycles, kUnconverged, kOfMean, kWhyMean, kTailLength };

/// The whole task, as the process and its copies see it.
struct Task {
    const DifferenceScheme& Scheme;
    const ReferencePoint& Reference;
    int nAtoms, nOrder;
    Array<int> vItems;  ///< coordinates to be moved, from 0
    double *mHessian, *mDipoles;
    Answer* pAnswer;    ///< null where each displaced point has an SCF
    StartPoint Beside;  ///< start of the SCF at hand, where it is not that of the reference point
    DifferenceReport Report;

    int nItems() const { return static_cast<int>(vItems.Size()); }
    std::size_t nResult() const { return static_cast<std::size_t>(nOrder) + kTailLength; }
};

/// The coordinates of all atoms that are neither dummies nor images of others.
Array<int> ListItems(int nAtoms, const Images* pImages) {
    const auto Counts = [&](int i) {
        return !IsDummy(AtomByNumber(AtomNumberAt(i))) && !(pImages && pImages->IsImage(i));
    };
    int nReal = 0;
    for (int i = 0; i < nAtoms; ++i) nReal += Counts(i);
    Array<int> vItems;
    vItems.Take(3 * static_cast<std::size_t>(nReal), kWork);
    int* p = vItems.Data();
    for (int i = 0; i < nAtoms; ++i)
        for (int x = 0; x < 3 && Counts(i); ++x) *p++ = 3 * i + x;
    return vItems;
}

/// An SCF from a start; once more by the long road where the short one does not get there.
void RunScfFrom(const StartPoint& start, const StartPoint& reference) {
    RestoreStartPoint(start);
    RunScf();
    if (scf.Account.fConverged) return;
    scf.fNearStart = false;
    RestoreStartPoint(reference);
    RunScf();
    scf.fNearStart = true;
}

/// Where a coordinate of the matrix stands in system.pCoords.
std::size_t PlaceOf(int nCoordinate) {
    return 3 * static_cast<std::size_t>(AtomNumberAt(nCoordinate / 3) - 1) +
           static_cast<std::size_t>(nCoordinate % 3);
}

/// Adds the gradient of the point at hand, times dFactor, to a row.
void AddGradient(const Task& task, double dFactor, double* vRow) {
    for (int j = 0; j < task.nOrder; ++j) vRow[j] += dFactor * gradient.pGradient[j];
}

/// The same of the dipole, which stands behind it.
void AddDipole(const Task& task, double dFactor, double* vRow) {
    double* vTail = vRow + task.nOrder;
    for (int c = 0; c < 3; ++c) vTail[kDipoleX + c] += dFactor * properties.dDipoleTable[3][c];
}

/// An SCF with one coordinate moved. Adds its gradient and dipole, times dSign, to a row.
void AddDisplaced(const Task& task, const StartPoint& start, int nCoordinate, double dSign,
                  double* vRow) {
    const std::size_t nPlace = PlaceOf(nCoordinate);
    const double dReference = task.Reference.vCoords[nPlace];
    system.pCoords[nPlace] = dReference + dSign * task.Scheme.dStep;
    RunScfFrom(start, task.Reference.Start);
    system.pCoords[nPlace] = dReference;
    AddGradient(task, dSign, vRow);
    AddDipole(task, dSign, vRow);
    double* vTail = vRow + task.nOrder;
    vTail[kCycles] += scf.Account.nCycles;
    vTail[kUnconverged] += scf.Account.fConverged ? 0.0 : 1.0;
    if (scf.Force.nWhy == kForceOfState) return;
    vTail[kOfMean] += 1.0;
    vTail[kWhyMean] = scf.Force.nWhy;
}

/// The other way, which starts from what the first way has found.
void AddOtherWay(Task& task, int nItem, double* vResult) {
    KeepStartPoint(task.Beside);
    MirrorStartPoint(task.Reference.Start, task.Beside);
    AddDisplaced(task, task.Beside, task.vItems[nItem], -1.0, vResult);
}

void SubtractReference(const Task& task, double* vResult) {
    const Array<double>& v = task.Reference.vGradient;
    for (int j = 0; j < task.nOrder; ++j) vResult[j] -= v[j];
    for (std::size_t c = 0; c < 3; ++c)
        vResult[static_cast<std::size_t>(task.nOrder) + c] -= v[v.Size() - 3 + c];
}

/// Points to either side by how the densities answer. False where there is no answer.
bool AddAnswered(const Task& task, int nItem, double* vResult) {
    const std::size_t nPlace = PlaceOf(task.vItems[nItem]);
    if (!FindAnswer(nPlace, kAnswerStep, *task.pAnswer)) return false;
    for (const double dSign : {1.0, -1.0}) {
        ComputeAnsweredGradient(nPlace, dSign * kAnswerStep, *task.pAnswer);
        AddGradient(task, dSign * 0.5 / kAnswerStep, vResult);
        ComputeAnsweredDipole(nPlace, dSign * kDipoleStep, *task.pAnswer);
        AddDipole(task, dSign * 0.5 / kDipoleStep, vResult);
    }
    vResult[task.nOrder + kCycles] = task.pAnswer->nProducts;
    return true;
}

/// What a worker does, and the process where it has none: one coordinate.
void ComputeItem(void* pTask, int nItem, double* vResult) {
    Task& task = *static_cast<Task*>(pTask);
    std::fill_n(vResult, task.nResult(), 0.0);
    if (task.pAnswer && AddAnswered(task, nItem, vResult)) return;
    AddDisplaced(task, task.Reference.Start, task.vItems[nItem], 1.0, vResult);
    if (task.Scheme.fForward)
        SubtractReference(task, vResult);
    else
        AddOtherWay(task, nItem, vResult);
    for (int j = 0; j < task.nOrder + 3; ++j) vResult[j] *= task.Scheme.dPerSpan;
}

void StoreItem(int nItem, const double* vResult, Task& task) {
    const int i = task.vItems[nItem];
    const double* vTail = vResult + task.nOrder;
    std::copy_n(vResult, task.nOrder, Row(task.mHessian, task.nOrder, i));
    if (task.mDipoles) std::copy_n(vTail, 3, Row(task.mDipoles, 3, i));
    task.Report.nPoints += task.Scheme.fForward ? 1 : 2;
    task.Report.nCycles += std::lround(vTail[kCycles]);
    task.Report.nUnconverged += static_cast<int>(std::lround(vTail[kUnconverged]));
    task.Report.nOfMean += static_cast<int>(std::lround(vTail[kOfMean]));
    if (vTail[kOfMean] > 0.0) task.Report.nWhyMean = static_cast<int>(std::lround(vTail[kWhyMean]));
}

/// Tells how many tenths of the atoms are done, when that has changed.
class Progress {
  public:
    explicit Progress(Task& task) : task_(task) {
        vMissing_.Take(static_cast<std::size_t>(task.nAtoms), kWork);
        std::fill(vMissing_.begin(), vMissing_.end(), 3);
    }
    void Finish(int nItem) {
        if (--vMissing_[task_.vItems[nItem] / 3] > 0) return;
        const long long nTenths = 10LL * ++nDone_ / (task_.nItems() / 3);
        if (nTenths == nTold_) return;
        nTold_ = nTenths;
        StatusFormat(task_.Scheme.nProgress, 10 * nTenths);
    }

  private:
    Task& task_;
    Array<int> vMissing_;  ///< coordinates of each atom that are still to come
    int nDone_ = 0;
    long long nTold_ = 0;
};

// ---- with workers -------------------------------------------------------------------------------

struct WorkersGuard {
    WorkersGuard() = default;
    ~WorkersGuard() { EndWorkers(); }
    WorkersGuard(const WorkersGuard&) = delete;
    WorkersGuard& operator=(const WorkersGuard&) = delete;
};

/// Passes a line of a worker on to the client.
void RelayText(int nChannel, const char* sText) {
    switch (nChannel) {
        case kPacketLogLine:
            return LogLine(sText);
        case kPacketStatusLine:
            return StatusLine(sText);
        case kPacketWarningLine:
            return WarningLine(sText);
        case kPacketErrorLine:
            return ErrorLine(sText);
        default:
            return DebugLine(sText);
    }
}

/// Acts on a piece of news. True when it was the result of an item, which is in vResult then.
bool TakeNews(const WorkerMessage& news, const Task& task, Array<double>& vResult) {
    switch (news.nNews) {
        case WorkerNews::kNone:
            WaitForWorkers();
            return false;
        case WorkerNews::kText:
            RelayText(news.nValue, reinterpret_cast<const char*>(news.pBytes));
            return false;
        case WorkerNews::kFailed:
            if (news.nValue != 0) throw Unwinding{news.nValue};  // its text has been relayed
            break;
        case WorkerNews::kLost:
            break;
        case WorkerNews::kResult:
            if (news.nValue < 0 || news.nValue >= task.nItems()) break;
            std::memcpy(vResult.Data(), news.pBytes, task.nResult() * sizeof(double));
            return true;
    }
    Fatal(kMsgWorkerLost);
}

/// What a person reads line by line has to come in its order.
bool IsTalkative() {
    return fDebugTrace != 0 || (options.nLogLevel >= 1 && options.nLogLevel <= 9);
}

/// Shares the items out among copies of the process. False where none could be made.
bool ComputeWithWorkers(int nMostWorkers, Task& task, Progress& progress) {
    const int nWorkers = std::min(nMostWorkers, task.nItems());
    if (nWorkers < 2 || IsTalkative()) return false;
    WorkersGuard guard;
    if (!StartWorkers(nWorkers, task.nItems(), task.nResult(), ComputeItem, &task)) return false;
    task.Report.nWorkers = nWorkers;
    Array<double> vResult;
    vResult.Take(task.nResult(), kWork);
    for (int nMissing = task.nItems(); nMissing > 0;) {
        PumpOneMessage();
        const WorkerMessage news = NextWorkerMessage();
        if (!TakeNews(news, task, vResult)) continue;
        StoreItem(news.nValue, vResult.Data(), task);
        progress.Finish(news.nValue);
        --nMissing;
    }
    return true;
}

void ComputeAlone(Task& task, Progress& progress) {
    Array<double> vResult;
    vResult.Take(task.nResult(), kWork);
    for (int n = 0; n < task.nItems(); ++n) {
        ComputeItem(&task, n, vResult.Data());
        StoreItem(n, vResult.Data(), task);
        progress.Finish(n);
    }
}

/// Each pair of elements becomes their mean.
void Symmetrise(int n, double* m) {
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < i; ++j)
            Row(m, n, i)[j] = Row(m, n, j)[i] = 0.5 * (Row(m, n, i)[j] + Row(m, n, j)[i]);
}

}  // namespace

DifferenceReport ComputeDifferences(const DifferenceScheme& scheme, int nAtoms, int nMostWorkers,
                                    double* mHessian, double* mDipoles) {
    const int n = 3 * nAtoms;
    std::fill(mHessian, Row(mHessian, n, n), 0.0);
    if (mDipoles) std::fill(mDipoles, Row(mDipoles, 3, n), 0.0);
    ReferencePoint reference(scheme);
    std::optional<Answer> answer;
    if (CanAnswer() && !PrepareAnswers(answer.emplace())) answer.reset();
    std::optional<Images> images;
    if (answer && FindImageRows(nAtoms, images.emplace()) == 0) images.reset();
    Task task{scheme,
              reference,
              nAtoms,
              n,
              ListItems(nAtoms, images ? &*images : nullptr),
              mHessian,
              mDipoles,
              answer ? &*answer : nullptr,
              {},
              {}};
    Progress progress(task);
    if (!ComputeWithWorkers(nMostWorkers, task, progress)) ComputeAlone(task, progress);
    reference.Enter(task.Report);
    if (images) FillRowsOfImages(*images, mHessian, mDipoles);
    Symmetrise(n, mHessian);
    return task.Report;
}

}  // namespace qsolve
