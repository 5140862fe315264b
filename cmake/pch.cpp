// Carries the precompiled headers that the targets share.
