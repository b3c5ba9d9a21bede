#pragma once

#include <cstddef>
#include <cstdint>

/// The wire: every structure that crosses the link, as it lies in a packet. All words are
/// little-endian and 32 bits wide, floats IEEE single precision. Bytes are copied into these
/// structures, never cast.

namespace qsolve {

static_assert(sizeof(int) == 4 && sizeof(float) == 4 && sizeof(double) == 8);

/// Most payload bytes of an outgoing packet, and of one piece of a chunked intake.
constexpr int kMaxPayload = 16384;

enum PacketType : int {
    kPacketData = 10,
    kPacketDebugFlag = 11,
    kPacketCharges = 20,
    kPacketPrecise = 30,
    kPacketLogLine = 9994,
    kPacketStatusLine = 9995,
    kPacketWarningLine = 9996,
    kPacketErrorLine = 9997,
    kPacketDebugLine = 9998,
    kPacketRequestNext = 9999,
};

/// Node ids in a header. A packet to kNodeSelf or kNodeBackend comes back to the sender.
constexpr int kNodeSelf = -1, kNodeBackend = 0, kNodeFrontend = 1;

/// Ahead of every packet.
struct PacketHeader {
    int nLength = 0;        ///< bytes of payload, header not included
    int nType = 0;          ///< PacketType; never read on arrival
    int nDestination = 0;   ///< node id of the receiver
    int nSource = 0;        ///< node id of the sender
    int hSenderWindow = 0;  ///< main window of the sender; informational
};
static_assert(sizeof(PacketHeader) == 20);

/// What a session is to do and how the electronic structure is to be computed.
struct RunOptions {
    int fCalculate = 0;
    int nExtensions = 0;           ///< what is asked for beyond the common packets, see below
    float flConvergenceLimit = 0;  ///< on the energy change of an SCF cycle, kcal/mol
    int nIterationLimit = 0;
    int nTotalCharge = 0;
    int nMultiplicity = 0;  ///< 0 is taken as 1 at intake
    int fPlot = 0;
    int nPlotKind = 0;         ///< PlotKind
    int nPlotOrbitalMode = 0;  ///< 0 offset above the LUMO, 1 below the HOMO, 2 index
    int nPlotOrbitalOffset = 0;
    int nGridCols = 0;
    int nGridRows = 0;
    int nPlotPlanes = 0;
    float flPlotGrid[9] = {};  ///< Angstrom on the wire, bohr after intake
    int nSpinTreatment = 0;    ///< 0 RHF, 1 UHF
    int fNextLowestState = 0;
    int fDiis = 0;
    int nUnused100[2] = {};
    int fModelHessian = 0;  ///< eigenvector following starts from the bond model
    int fPlotBetaSpin = 0;
    int nLogLevel = 0;  ///< 1 to 9 choose dumps, 10 and above silence the log
    int nCiKind = 0;    ///< CiKind
    int nUnused124 = 0;
    float flOverlapSigma = 0;
    float flOverlapPi = 0;
    int nUnused136 = 0;
    int nCiSelection = 0;  ///< 1 counts of orbitals, otherwise an energy limit
    int nCiOccupied = 0;
    int nCiUnoccupied = 0;
    float flCiMaxExcitation = 0;  ///< eV on the wire, kcal/mol after validation
    int fSendOrbitals = 0;
    int nLevelShiftStart = 0;  ///< lowered by one at intake
    int fComputeHessian = 0;
    int fTsSearch = 0;
    int fComputeForceMatrix = 0;
    int nUnused176 = 0;
    int nFollowMode = 0;  ///< from 1; in a synchronous transit 0 linear, else quadratic
};
static_assert(sizeof(RunOptions) == 184);
static_assert(offsetof(RunOptions, flConvergenceLimit) == 8);
static_assert(offsetof(RunOptions, flPlotGrid) == 52);
static_assert(offsetof(RunOptions, nSpinTreatment) == 88);
static_assert(offsetof(RunOptions, fModelHessian) == 108);
static_assert(offsetof(RunOptions, nCiKind) == 120);
static_assert(offsetof(RunOptions, flOverlapSigma) == 128);
static_assert(offsetof(RunOptions, nCiSelection) == 140);
static_assert(offsetof(RunOptions, flCiMaxExcitation) == 152);
static_assert(offsetof(RunOptions, nLevelShiftStart) == 160);
static_assert(offsetof(RunOptions, nFollowMode) == 180);

enum CiKind : int { kNoCi = 0, kSingles = 1, kMicrostates = 2 };

/// What a plot shows. The potential is followed by the density.
enum PlotKind : int {
    kPlotPotential = 0,
    kPlotDensity = 1,
    kPlotOrbital = 2,
    kPlotOrbitalSquare = 3,
    kPlotSpinDensity = 4,
};

/// Value of RunOptions::nExtensions that asks for packets of type kPacketPrecise in their first
/// form: the total energy and the gradient.
constexpr int kPreciseResults = 0x3158524F;

/// Any value with this highest byte asks for packets of type kPacketPrecise made of sections. Bit k
/// of the rest, below kFurtherOptionsBit, asks for the sections of a group.
constexpr unsigned kSectionsMark = 0x32000000, kSectionsMask = 0xFF000000;

/// And this bit says that further options follow JobOptions.
constexpr unsigned kFurtherOptionsBit = 1U << 23;

/// Whether nExtensions asks for sections, and whether for those of a bit.
constexpr bool AsksForSections(int nExtensions) {
    return (static_cast<unsigned>(nExtensions) & kSectionsMask) == kSectionsMark;
}
constexpr bool AsksFor(int nExtensions, unsigned nBit) {
    return AsksForSections(nExtensions) && (static_cast<unsigned>(nExtensions) & nBit) != 0;
}

/// Ahead of the sections, in either direction: in the backend's block the number of sections, in
/// the client's the number of bytes that follow.
struct SectionsHead {
    int nVersion = 2;
    int nCount = 0;
};
static_assert(sizeof(SectionsHead) == 8);

/// Ahead of a section. Its data are filled up to a multiple of 8 bytes, which nBytes leaves out.
struct SectionHead {
    int nKind = 0;
    int nBytes = 0;
};
static_assert(sizeof(SectionHead) == 8);

/// Section kinds of the backend. A kind below kFurtherOptionsBit's stands in the group of its bit.
enum ResultSection : int {
    kEnergySection = 0,      ///< EnergyRecord
    kGradientSection = 1,    ///< three doubles an atom, kcal/(mol Angstrom)
    kDipoleSection = 2,      ///< 4 x 4 doubles, Debye
    kCoordinateSection = 3,  ///< three doubles an atom, Angstrom
    kChargeSection = 4,      ///< a double an atom, e
    kScfSection = 5,         ///< ScfRecord
    kStateSection = 6,       ///< ScfEnd
    kModeSection = 9,        ///< ModeSectionHead and arrays
    kForceSection = 10,      ///< ForceRecord
};

/// Section kinds of the client.
enum OptionSection : int {
    kGivenCoordinates = 0,  ///< three doubles an atom, Angstrom
    kGivenScf = 1,          ///< ScfWishes
    kMotionSection = 8,     ///< MotionRecord
    kSearchSection = 9,     ///< SearchRecord
    kGivenHessian = 10,     ///< n x n doubles over the selected atoms, kcal/(mol Angstrom^2)
};

/// What a client asks of a search with a Hessian beyond what every client gets.
struct SearchRecord {
    int nWishes = 0;  ///< bits of SearchWish
    int nUnused = 0;
};
static_assert(sizeof(SearchRecord) == 8);

enum SearchWish : int {
    kCarefulSearch = 1,
    kEitherSign = 2,
};

/// The modes in double precision begin with this. Doubles follow, n = nCoordinates: the force
/// matrix, n x n, kcal/(mol Angstrom^2); the derivatives of the dipole, n x 3, Debye/Angstrom;
/// frequencies, n, 1/cm, and intensities, n, as in the report; the vectors, n x n, a mode each row.
struct ModeSectionHead {
    int nCoordinates = 0;
    int nExternalModes = 0;
    int nPoints = 0;       ///< displaced ones, of the matrix
    int nUnconverged = 0;  ///< of these
    int nWorkers = 0;      ///< copies of the process that computed them; 0 none
    int nUnused = 0;
    long long nCycles = 0;  ///< of the SCFs at these points
};
static_assert(sizeof(ModeSectionHead) == 32);
static_assert(offsetof(ModeSectionHead, nCycles) == 24);

/// What a client asks of dynamics and sampling beyond what every client gets.
struct MotionRecord {
    int nWishes = 0;  ///< bits of MotionWish
    int nUnused = 0;
};
static_assert(sizeof(MotionRecord) == 8);

enum MotionWish : int {
    kLongNoise = 1,
    kLand = 2,
    kScaledNoise = 4,
    kRestUnmoving = 8,
    kStateReports = 16,
    kMovableOnly = 32,
    kDoubleEnergies = 64,
    kKnownEnergies = 128,
};

/// What the test of an SCF's state is asked to do.
enum StabilityTest : int {
    kNoStability = 0,
    kTestStability = 1,    ///< say whether a lower state lies next to the one that was found
    kFollowStability = 2,  ///< and go down to it
};

/// What becomes of the density between sessions.
enum DensityUse : int {
    kDropDensity,    ///< each session starts anew
    kLeaveDensity,   ///< it starts anew, and leaves its density to the next
    kFollowDensity,  ///< it starts from what the last one has left, and leaves its own
};

/// How little of a calculation's progress a client wants to be told.
enum Quiet : int {
    kTellAll,    ///< each cycle of an SCF has a status line
    kTellFirst,  ///< the first cycle alone
    kTellStart,  ///< no cycle and no end; nothing but that the calculation has started
};

/// How a client wants the SCF to be steered beside the options. All zero: by the options alone.
struct ScfWishes {
    int fGuarded = 0;             ///< guarded cycles, which judge the density too
    int nStability = 0;           ///< StabilityTest; guarded cycles only
    int nStarts = 0;              ///< further starts of a job's first SCF; the lowest end is kept
    int fFarRepulsion = 0;        ///< Slater integrals: 1/R beyond their range, not 0
    double dCommutatorLimit = 0;  ///< largest element of F P - P F at convergence, eV; 0: the usual
    int nKeepDensity = 0;         ///< DensityUse; guarded cycles only
    int nQuiet = 0;               ///< Quiet; larger numbers are as the last
    int fResponse = 0;            ///< displaced points by linear response; guarded cycles only
    int fImages = 0;              ///< of these the rows of images follow from those of others
    int fStateGradient = 0;  ///< half electrons: the gradient of the energy with its correction
    int nUnused44 = 0;
};
static_assert(sizeof(ScfWishes) == 48);
static_assert(offsetof(ScfWishes, dCommutatorLimit) == 16);

/// All energies of the last SCF, kcal/mol; never a kinetic one.
struct EnergyRecord {
    double dTotal = 0;
    double dElectronic = 0;
    double dCore = 0;
    double dAtomic = 0;  ///< of the isolated atoms
    double dBinding = 0;
    double dHeatOfFormation = 0;
    double dStateCorrection = 0;  ///< part of the total that half electrons or a CI bring
    double dRestraint[4] = {};    ///< by RestraintKind; part of the total
    double dRmsGradient = 0;      ///< kcal/(mol Angstrom); 0 where there is no gradient
};
static_assert(sizeof(EnergyRecord) == 96);
static_assert(offsetof(EnergyRecord, dRestraint) == 56);

/// By which test an SCF has converged.
enum ScfTest : int {
    kNoTest = 0,      ///< by none: it has not
    kEnergyTest = 1,  ///< the energy change of a cycle
    kStateTest = 2,   ///< that and the commutator of Fock and density matrix
};

/// How the SCFs of a job have ended. "Since the last block" counts from the last one that had this
/// section.
struct ScfRecord {
    int fConverged = 0;  ///< the last one
    int nTest = 0;       ///< ScfTest of the last one
    int nCycles = 0;     ///< of the last one, as the status line counts them
    int nRuns = 0;       ///< SCFs of the job
    int nUnconverged = 0;
    int nRunsSince = 0;  ///< SCFs since the last block
    int nUnconvergedSince = 0;
    int nUnused28 = 0;
    double dDifference = 0;       ///< energy change that was tested last, kcal/mol
    double dLimit = 0;            ///< what it was to come below
    double dFinalDifference = 0;  ///< energy change of the cycle after that, the last one
    double dWorstDifference = 0;  ///< largest dDifference of the unconverged since the last block
};
static_assert(sizeof(ScfRecord) == 64);
static_assert(offsetof(ScfRecord, dDifference) == 32);

/// Why a gradient of half electrons is that of their mean.
enum MeanForce : int {
    kForceOfState = 0,      ///< it is not: that of the energy that is told
    kForceNoMinimum = 1,    ///< the mean is no minimum, or too near to one of another state
    kForceEqualLevels = 2,  ///< two open levels of an open singlet have one energy
    kForceUnconverged = 3,  ///< the SCF has not converged
};

/// Whose gradients a job of half electrons has, where those of the state are asked for.
struct ForceRecord {
    int nWhy = 0;       ///< MeanForce of the last one
    int nOfMean = 0;    ///< gradients of the job that are those of the mean
    int nWhyFirst = 0;  ///< MeanForce of the first of these
    int nProducts = 0;  ///< Fock matrices that the last one took
};
static_assert(sizeof(ForceRecord) == 16);

/// What the test of the state found out.
enum StateFound : int {
    kNotTested = 0,
    kStable = 1,
    kUnstable = 2,         ///< a lower state of the same kind lies next to it
    kUnstableToSpins = 3,  ///< one with unequal spins does
    kNotDecided = 4,       ///< the test did not come to an end
};

/// What is known of the two curvatures of a state.
enum CurvatureBits : int {
    kInternalShown = 1,  ///< the one within the kind is shown to be the lowest
    kSpinsTested = 2,    ///< there is one towards unequal spins
    kSpinsShown = 4,     ///< and it is shown to be the lowest
};

/// The last word about an SCF of guarded cycles. Curvatures are second derivatives of the energy by
/// the length of a rotation of orbitals, eV.
struct ScfEnd {
    int fGuarded = 0;        ///< guarded cycles have run; else the rest is 0
    int fConverged = 0;      ///< energy and commutator have come below their limits
    int nCycles = 0;         ///< Fock matrices built for the state that is reported
    int nAllCycles = 0;      ///< and for all starts, descents and tests together
    int fAufbau = 0;         ///< the lowest levels are the occupied ones
    int fDescended = 0;      ///< the cycles stalled, and a descent ended them
    int nStarts = 0;         ///< starts that have been tried
    int nLowered = 0;        ///< times that a start or a descent found a lower state
    int nFound = 0;          ///< StateFound
    int nCurvatures = 0;     ///< CurvatureBits
    double dDifference = 0;  ///< last change of the energy, kcal/mol
    double dCommutator = 0;  ///< largest element of F P - P F, eV
    double dInternal = 0;    ///< lowest curvature within the kind of state, or one above it
    double dSpins = 0;       ///< the same towards unequal spins; restricted closed shells only
};
static_assert(sizeof(ScfEnd) == 72);
static_assert(offsetof(ScfEnd, dDifference) == 40);

/// Which job, and its settings.
struct JobOptions {
    int nCalcKind = 0;  ///< CalcKind
    int fRestraints = 0;
    int nOptimiser = 0;  ///< Optimiser
    int nMdKind = 0;     ///< 0, 1 or 2 for dynamics to run
    int nMaxCycles = 0;
    float flRmsGradient = 0;  ///< limit of the searches, kcal/(Angstrom mol)
    int nUnused24[2] = {};
    int fPeriodicBox = 0;
    int fTempBath = 0;
    float flBathRelaxTime = 0;  ///< ps
    int nUnused44 = 0;
    int fRestartVelocities = 0;
    int nRandomSeed = 0;
    float flBoxX = 0;  ///< Angstrom
    float flBoxY = 0;
    float flBoxZ = 0;
    int nUnused68[3] = {};
    float flStartTemp = 0;  ///< K
    float flSimTemp = 0;
    float flFinalTemp = 0;
    float flHeatTime = 0;  ///< ps; Monte Carlo: steps
    float flRunTime = 0;
    float flCoolTime = 0;
    float flTimeStep = 0;  ///< ps; Monte Carlo: maximum displacement, Angstrom
    float flTempStep = 0;  ///< K
    float flFriction = 0;  ///< 1/ps
    int nUnused116[7] = {};
    int nReportPeriod = 0;
    int fShowWarnings = 0;
};
static_assert(sizeof(JobOptions) == 152);
static_assert(offsetof(JobOptions, flRmsGradient) == 20);
static_assert(offsetof(JobOptions, fPeriodicBox) == 32);
static_assert(offsetof(JobOptions, nRandomSeed) == 52);
static_assert(offsetof(JobOptions, flStartTemp) == 80);
static_assert(offsetof(JobOptions, flTimeStep) == 104);
static_assert(offsetof(JobOptions, nReportPeriod) == 144);

enum CalcKind : int {
    kSinglePoint = 0,
    kOptimisation = 1,
    kMolecularDynamics = 2,
    kVibrations = 4,
    kTransitionState = 5,
    kSynchronousTransit = 6,
    kLangevinDynamics = 7,
    kMonteCarlo = 8,
};

enum Optimiser : int {
    kSteepestDescent = 0,
    kFletcherReeves = 1,
    kPolakRibiere = 2,
    kEigenvectorFollowing = 4,
};

constexpr int kMaxBonds = 12;

/// One atom of the molecule, selected or not.
struct AtomRecord {
    int nUnused0 = 0;
    int nAtomicNumber = 0;  ///< 0 is a dummy; after intake Z + 105 for a capping atom
    int nUnused2[2] = {};
    int nState = 0;        ///< AtomState; on the wire 0 selected, anything else not
    int nCappingAtom = 0;  ///< record k holds the index of the k-th capping atom
    int nBonds = 0;
    int nBonded[kMaxBonds] = {};  ///< indices from 0
    float flCharge = 0;           ///< classical charge in, net charge out, e
    float flX = 0;                ///< Angstrom
    float flY = 0;
    float flZ = 0;
    float flMass = 0;  ///< atomic mass units
};
static_assert(sizeof(AtomRecord) == 96);
static_assert(offsetof(AtomRecord, nState) == 16);
static_assert(offsetof(AtomRecord, nBonds) == 24);
static_assert(offsetof(AtomRecord, flCharge) == 76);
static_assert(offsetof(AtomRecord, flMass) == 92);

/// Atoms in one packet of the intake.
constexpr int kAtomsPerChunk = 170;

enum AtomState : int { kCapping = -1, kSelected = 0, kClassical = 1 };

enum RestraintKind : int { kTether = 0, kStretch = 1, kBend = 2, kTorsion = 3 };

struct RestraintRecord {
    int nKind = 0;              ///< RestraintKind; a record above kTorsion is skipped
    int nAtom[4] = {};          ///< indices from 0
    float flForceConstant = 0;  ///< kcal/mol per square of the target's unit
    float flTarget = 0;         ///< Angstrom or radians; tether: x
    float flTargetY = 0;
    float flTargetZ = 0;
};
static_assert(sizeof(RestraintRecord) == 36);
static_assert(offsetof(RestraintRecord, flForceConstant) == 20);

/// Head of the selection block; the list of atom numbers follows it.
struct SelectionBlock {
    int nFirstAtom = 0;  ///< kept and adjusted for the wire's sake, never used as a bound
    int nLastAtom = 0;
    int nFirstOrbital = 0;
    int nOrbitalsOnNode = 0;
    int nOrbitalEstimate = 0;
    int nAtomEstimate = 0;
    int nUnused24[2] = {};
    int MethodId = 0;
};
static_assert(sizeof(SelectionBlock) == 36);

/// The scalars of a report point. Energies kcal/mol.
struct ResultBlock {
    float flTotalEnergy = 0;
    float flUnused4[10] = {};
    float flAcceptRatio = 0;
    float flTetherEnergy = 0;
    float flStretchEnergy = 0;
    float flBendEnergy = 0;
    float flTorsionEnergy = 0;
    float flBindingEnergy = 0;
    float flAtomicEnergy = 0;
    float flElectronicEnergy = 0;
    float flCoreEnergy = 0;
    float flHeatOfFormation = 0;
    float flUnused84 = 0;
    float flSeedEcho = 0;
    float flUnused92[3] = {};
    float flDipoleX = 0;  ///< Debye
    float flDipoleY = 0;
    float flDipoleZ = 0;
    float flDipoleTotal = 0;
    float flRmsGradient = 0;  ///< kcal/(Angstrom mol)
    float flTemperature = 0;  ///< K
    float flPotentialEnergy = 0;
    float flKineticEnergy = 0;
    float flUnused136[2] = {};
    float flTime = 0;  ///< ps; Monte Carlo: steps
    int nCycles = 0;
    int nEnergyPoints = 0;
    int fConverged = 0;
    int fFinalResult = 0;
    int nNegativeEigenvalues = 0;
    int nUnused168 = 0;
};
static_assert(sizeof(ResultBlock) == 172);
static_assert(offsetof(ResultBlock, flAcceptRatio) == 44);
static_assert(offsetof(ResultBlock, flBindingEnergy) == 64);
static_assert(offsetof(ResultBlock, flHeatOfFormation) == 80);
static_assert(offsetof(ResultBlock, flSeedEcho) == 88);
static_assert(offsetof(ResultBlock, flDipoleX) == 104);
static_assert(offsetof(ResultBlock, flRmsGradient) == 120);
static_assert(offsetof(ResultBlock, flTime) == 144);
static_assert(offsetof(ResultBlock, fFinalResult) == 160);

/// One state of a singles configuration interaction. Dipoles in Debye.
struct UvRecord {
    int nState = 0;      ///< place in the list; 0 is the reference
    float flEnergy = 0;  ///< of the reference, eV; of others the wavelength from it, nm
    int nVector = 0;     ///< number of the eigenvector, by energy
    float flSpin = 0;    ///< S
    float flDipole = 0;
    float flOscillator = 0;  ///< strength of the transition from the reference
    float flTransitionX = 0;
    float flTransitionY = 0;
    float flTransitionZ = 0;
    float flDipoleX = 0;
    float flDipoleY = 0;
    float flDipoleZ = 0;
    int nUnused48[4] = {};
};
static_assert(sizeof(UvRecord) == 64);
static_assert(offsetof(UvRecord, flOscillator) == 20);
static_assert(offsetof(UvRecord, flTransitionX) == 24);
static_assert(offsetof(UvRecord, flDipoleX) == 36);

/// One normal mode, in the order of the frequencies; behind the vibrations the motions of the
/// whole.
struct ModeRecord {
    float flFrequency = 0;  ///< 1/cm; negative where it is imaginary
    int nIndex = 0;         ///< place of its row in the matrix of modes
    float flIntensity = 0;  ///< of absorption, decadic, km/mol
    float flDipoleX = 0;    ///< derivative of the dipole along the mode, Debye/(Angstrom sqrt(amu))
    float flDipoleY = 0;
    float flDipoleZ = 0;
    int nSymmetryIndex = 0;  ///< running number within the species
    char sSymmetryLabel[4] = {};
};
static_assert(sizeof(ModeRecord) == 32);
static_assert(offsetof(ModeRecord, flDipoleX) == 12);
static_assert(offsetof(ModeRecord, sSymmetryLabel) == 28);

/// Bytes of the parameter block of a method, one pull; 0 where there is none.
constexpr int kCindoBlockBytes = 108 * 12 * 8;
constexpr int kNddoBlockBytes = 210 * 25 * 8;
constexpr int kGaussianBlockBytes = 210 * 30 * 8;
constexpr int kZindo1BlockBytes = 108 * 32 * 8;
constexpr int kZindosBlockBytes = 108 * (32 + 3) * 8;
static_assert(kCindoBlockBytes == 10368 && kNddoBlockBytes == 42000);
static_assert(kNddoBlockBytes + kGaussianBlockBytes == 92400);
static_assert(kZindo1BlockBytes == 27648 && kZindosBlockBytes == 30240);

/// One record of the MINDO/3 bond-pair packet.
struct MindoPairRecord {
    double dCode1 = 0;  ///< atomic number, negative for a capping atom
    double dCode2 = 0;
    double dAlphaAB = 0;
    double dBetaAB = 0;
};
static_assert(sizeof(MindoPairRecord) == 32);

}  // namespace qsolve
