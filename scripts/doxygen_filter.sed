#!/usr/bin/sed -Ef
# Makes the plain comments of a header visible to Doxygen, which reads only marked ones.
s,^( *)//( |$),\1///\2,
s,^([^/"]*[^/" ]) +// ,\1  ///< ,
