#pragma once

/// The face of the integrals room: everything that is computed once per geometry.

#include "integrals/ab_integrals.h"
#include "integrals/atom_list.h"
#include "integrals/classical_charges.h"
#include "integrals/cndo_core.h"
#include "integrals/coulomb_matrices.h"
#include "integrals/diatomic_block.h"
#include "integrals/local_charges.h"
#include "integrals/mindo3.h"
#include "integrals/mo_integral.h"
#include "integrals/nddo_classical.h"
#include "integrals/nddo_core.h"
#include "integrals/nddo_core_core.h"
#include "integrals/nddo_derivative_sp.h"
#include "integrals/nddo_pair_sp.h"
#include "integrals/nddo_store.h"
#include "integrals/nuclear_attraction.h"
#include "integrals/overlap_matrix.h"
#include "integrals/rotation.h"
#include "integrals/slater_coulomb.h"
#include "integrals/zindo_core.h"
