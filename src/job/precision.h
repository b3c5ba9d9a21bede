#pragma once

namespace qsolve {

/// A number as a packet carries it. Geometries come in this precision, and what clients have always
/// been told of restraints and plots was computed with places rounded to it.
///
/// Not inline: GCC 12 takes neighbouring roundings together and then leaves them out.
double AsOnWire(double d);

}  // namespace qsolve
