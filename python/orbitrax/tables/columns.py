"""Which numbers the parameter blocks hold, in the order of the wire."""

from __future__ import annotations

_CINDO = ("dZetaS dZetaP dZetaD dHalfIpEaS dHalfIpEaP dHalfIpEaD dBeta dSlaterF2 dSlaterG1 "
          "dAtomEnergyCndo dAtomEnergyIndo dHeatOfAtom").split()
_NDDO_1 = ("dUss dUpp dUdd dBetaS dBetaP dBetaD dZetaS dZetaP dZetaD dAlpha dAtomEnergy "
           "dHeatOfAtom").split()
_INTEGRALS = "dGss dGsp dGpp dGp2 dHsp dGsd dHsd dGdd".split()
_NDDO_2 = _INTEGRALS + "dDipoleDistance dQuadDistance dRho0 dRho1 dRho2".split()
_MINDO_2 = _INTEGRALS + "dIonisationS dIonisationP dRho0 dRho1 dRho2".split()
_GAUSSIANS = [f"{name}[{i}]" for name in ("dK", "dL", "dM") for i in range(10)]
_ZINDO_1 = ("dZetaS dZetaP dZetaD dIonisationS dIonisationP dIonisationD dBetaS dBetaP dBetaD "
            "dZetaD1 dCoefD1 dZetaD2 dCoefD2").split()
_ZINDO_2 = ("dSlaterF2pp dSlaterG1sp dSlaterF2pd dSlaterF2dd dSlaterF4dd dSlaterG1pd dSlaterG2sd "
            "dSlaterG3pd dAtomEnergy dHeatOfAtom").split()
_ZINDO_3 = ("dIonisation2S dIonisation2P dIonisation2D dIonisation3S dIonisation3P dIonisation3D "
            "dConfigMix[0] dConfigMix[1] dConfigMix[2]").split()
_GAMMA = "dGammaSS dGammaSD dGammaDD".split()
PAIR = "dAlphaAB dBetaAB".split()

# By stem of the files: the columns of each section, in the order of the block.
SECTIONS: dict[str, tuple[list[str], ...]] = {
    "cindo": (_CINDO,),
    "mindo3": (_NDDO_1, _MINDO_2),
    "mndo": (_NDDO_1, _NDDO_2),
    "mndod": (_NDDO_1, _NDDO_2),
    "am1": (_NDDO_1, _NDDO_2, _GAUSSIANS),
    "pm3": (_NDDO_1, _NDDO_2, _GAUSSIANS),
    "zindo1": (_ZINDO_1, _ZINDO_2, _ZINDO_3),
    "zindos": (_ZINDO_1, _ZINDO_2, _ZINDO_3, _GAMMA),
}

SHORT_TABLES = ("cindo", "zindo1", "zindos")
SHORT_ROWS = 54  # normal, and as many capping rows, in the blocks of these tables
LONG_ROWS = 210  # rows of all other blocks; row 105 + Z - 1 is element Z as a capping atom
CAPPING_OFFSET = 105
HIGHEST_CAPPING = 88  # the last capping row that has orbitals


def table_names(stem: str) -> list[str]:
    """The files of a method, one for each section of its block; of MINDO/3 the pairs too."""
    if stem == "cindo":
        return ["cindo.abp"]
    count = len(SECTIONS[stem]) + (1 if stem == "mindo3" else 0)
    return [f"{stem}_{i}.abp" for i in range(1, count + 1)]
