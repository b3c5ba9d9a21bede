// Drawing a molecule: openchemlib's editor, loaded when somebody draws.
import { CanvasEditor, Molecule } from "openchemlib";

export function openSketch(place, smiles) {
  const editor = new CanvasEditor(place, { initialMode: "molecule" });
  if (smiles) {
    try {
      editor.setMolecule(Molecule.fromSmiles(smiles));
    } catch { /* what cannot be drawn begins empty */ }
  }
  return {
    smiles: () => editor.getMolecule().toIsomericSmiles(),
    close: () => editor.destroy(),
  };
}
