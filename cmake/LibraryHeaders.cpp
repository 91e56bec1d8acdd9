// Nothing of its own: the precompiled headers are those of the libraries.
