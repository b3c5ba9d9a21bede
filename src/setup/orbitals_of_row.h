#pragma once

namespace qsolve {

/// Valence orbitals that an atom of a row (0-based) has in this job: 0, 1, 4, 9 or 16, and 0 for a
/// row that is no row, such as that of a dummy. In the NDDO family an atom has d orbitals only
/// where its row has parameters for them, so that 9 of the element table become 4 and 4 may
/// become 9. Reads system.MethodId and setup.pExtended, so DeriveNddoDParameters has to come
/// before.
int OrbitalsOfRow(int nRow);

}  // namespace qsolve
