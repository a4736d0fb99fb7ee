// Stands for the precompiled headers of the project (VantoraCompile.cmake); holds nothing.
